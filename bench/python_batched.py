#!/usr/bin/python3
"""Batched drawing from Python (kwrender.Context.triangles) against one C++
call per triangle and against the C batch, on the peer benchmark's 50-pixel
triangle set (15,728 triangles), per mode, 1024x768 at 32 bpp, one thread.

    cmake --build --preset native --target kwrender kwrender_batch_bench
    /usr/bin/python3 bench/python_batched.py [--build build/native] [--rounds 5] [--sizes 50]

kwrender_batch_bench draws the C++ and C sides and writes the triangles it
drew; this script draws the same triangles through the package.  Clearing
is not timed; the best repetition of every round counts.  Flat modes draw
every triangle in one colour on all sides.  Prints Mtri/s and the ratios.
"""

from __future__ import annotations

import argparse
import os
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def main() -> int:
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--build", default=os.path.join(ROOT, "build", "native"))
    ap.add_argument("--rounds", type=int, default=5)
    ap.add_argument("--reps", type=int, default=5)
    args = ap.parse_args()

    os.environ.setdefault("KWRENDER_LIBRARY", os.path.join(args.build, "libkwrender.so"))
    sys.path.insert(0, os.path.join(ROOT, "python"))
    import numpy as np

    import kwrender

    bench = os.path.join(args.build, "bench", "kwrender_batch_bench")
    vertex = np.dtype([("x", "<f4"), ("y", "<f4"), ("z", "<f4"), ("c", "<u4"), ("u", "<f4"), ("v", "<f4")])
    best: dict = {}
    with tempfile.TemporaryDirectory() as tmp:
        for _ in range(args.rounds):
            out = subprocess.run([bench, "--sizes", "50", "--reps", str(args.reps), "--dump", tmp],
                                 check=True, capture_output=True, text=True).stdout
            texture = np.fromfile(os.path.join(tmp, "texture.bin"), np.uint8).reshape(256, 256, 4)
            for index, line in enumerate(out.strip().splitlines()):
                mode, _, count, single, batch = line.split("\t")
                v = np.fromfile(os.path.join(tmp, f"{index}.bin"), vertex)
                xy = np.ascontiguousarray(np.stack([v["x"], v["y"]], axis=1))
                xyz = np.ascontiguousarray(np.stack([v["x"], v["y"], v["z"]], axis=1))
                uv = np.ascontiguousarray(np.stack([v["u"], v["v"]], axis=1))
                colors = np.ascontiguousarray(v["c"])
                draw = {
                    "flat": (xy, None, None), "flat-depth": (xyz, None, None), "gouraud": (xy, colors, None),
                    "gouraud-depth": (xyz, colors, None), "textured": (xy, colors, uv),
                    "textured-depth": (xyz, colors, uv), "blended-flat": (xy, None, None),
                    "blended-gouraud": (xy, colors, None),
                }[mode]
                ctx = kwrender.Context(1024, 768, bpp=32, threads=1)
                ctx.set_texture(texture)
                ctx.alpha_enable(mode.startswith("blended"))
                py = 1e300
                for _ in range(args.reps):
                    ctx.set_color(0xFF000000)
                    ctx.clear()
                    ctx.set_color(int(colors[0]))
                    t0 = time.perf_counter()
                    ctx.triangles(*draw)
                    py = min(py, (time.perf_counter() - t0) * 1e9)
                ctx.close()
                old = best.get(mode, (int(count), 1e300, 1e300, 1e300))
                best[mode] = (int(count), min(old[1], float(single)), min(old[2], float(batch)), min(old[3], py))

    print(f"kwrender {kwrender.version()} ({kwrender.simd_level()}), 50-pixel set, 1024x768, 32 bpp, one thread; "
          f"best of {args.rounds} rounds x {args.reps} repetitions")
    print("| mode | C++ single calls Mtri/s | C batch Mtri/s | Python batch Mtri/s | C / C++ | Python / C++ |")
    print("|---|---|---|---|---|---|")
    for mode, (count, single, batch, py) in best.items():
        rate = lambda ns: count / ns * 1e3  # noqa: E731  (Mtri/s)
        print(f"| {mode} | {rate(single):.2f} | {rate(batch):.2f} | {rate(py):.2f} | "
              f"{single / batch:.3f} | {single / py:.3f} |")
    return 0


if __name__ == "__main__":
    sys.exit(main())

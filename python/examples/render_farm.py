#!/usr/bin/python3
"""Renders the turning torus knot on a Dask cluster, one frame per task,
and writes the frames as PNG files with a manifest of their hashes.

    render_farm.py [--frames N] [--size WxH] [--workers K] [--scheduler ADDRESS]
                   [--out DIR] [--library PATH] [--local-directory DIR]

Without --scheduler a LocalCluster of K worker processes (default 4) runs
here; with it, the frames go to the cluster at ADDRESS (``dask scheduler``
elsewhere, workers with kwrender installed).  The manifest
(DIR/manifest.json) lists every frame's file and the SHA-256 of its pixels.

Every worker computes its frame from the frame number alone
(knot_scene.py, sent to the workers), in arithmetic that IEEE 754 defines
to the bit, and the rasteriser gives the same bytes for the same input: a
frame is the same bytes whichever worker, machine or operating system
draws it, so the manifest's hashes can be checked anywhere.
"""

from __future__ import annotations

import argparse
import json
import os
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
PACKAGE_DIR = os.path.dirname(HERE)


def main(argv=None) -> int:
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--frames", type=int, default=24)
    ap.add_argument("--size", default="640x480")
    ap.add_argument("--workers", type=int, default=4, help="worker processes of the local cluster")
    ap.add_argument("--scheduler", help="address of a running Dask scheduler (instead of a local cluster)")
    ap.add_argument("--out", default="farm")
    ap.add_argument("--library", help="the kwrender shared library (else as the package finds it)")
    ap.add_argument("--local-directory", help="scratch directory of the local workers")
    args = ap.parse_args(argv)
    width, height = (int(v) for v in args.size.lower().split("x"))

    # Local workers inherit the environment: the library's path, the scene
    # module, and this source tree's package when it is not installed.
    if args.library:
        os.environ["KWRENDER_LIBRARY"] = os.path.abspath(args.library)
    paths = [HERE] + ([PACKAGE_DIR] if os.path.isdir(os.path.join(PACKAGE_DIR, "kwrender")) else [])
    os.environ["PYTHONPATH"] = os.pathsep.join(paths + [p for p in [os.environ.get("PYTHONPATH")] if p])
    sys.path[:0] = paths
    if args.local_directory:
        os.environ["DASK_TEMPORARY_DIRECTORY"] = os.path.abspath(args.local_directory)

    from dask.distributed import Client, LocalCluster, as_completed

    import kwrender
    from knot_scene import render_frame

    start = time.perf_counter()
    if args.scheduler:
        cluster = None
        client = Client(args.scheduler)
        # The scene goes to the workers with the tasks; kwrender must be installed there.
        client.upload_file(os.path.join(HERE, "knot_scene.py"))
    else:
        cluster = LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                               dashboard_address=None, local_directory=args.local_directory)
        client = Client(cluster)
    try:
        os.makedirs(args.out, exist_ok=True)
        futures = [client.submit(render_frame, i, width, height, key=f"frame-{i}-{width}x{height}")
                   for i in range(args.frames)]
        who = {f.key: None for f in futures}
        frames = {}
        for future, (index, digest, png) in as_completed(futures, with_results=True):
            name = f"frame_{index:04d}.png"
            with open(os.path.join(args.out, name), "wb") as f:
                f.write(png)
            frames[index] = {"index": index, "file": name, "sha256": digest}
            who[future.key] = client.who_has(future).get(future.key)
            print(f"frame {index}: {digest[:16]} from {', '.join(who[future.key] or ['?'])}", flush=True)
        manifest = {"width": width, "height": height, "bits_per_pixel": 32, "kwrender": kwrender.version(),
                    "frames": [frames[i] for i in sorted(frames)]}
        with open(os.path.join(args.out, "manifest.json"), "w") as f:
            json.dump(manifest, f, indent=1)
        workers = {w for ws in who.values() for w in (ws or [])}
        print(f"{args.frames} frames of {width}x{height} from {len(workers)} workers in "
              f"{time.perf_counter() - start:.1f} s: {os.path.join(args.out, 'manifest.json')}")
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())

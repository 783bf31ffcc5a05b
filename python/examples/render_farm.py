#!/usr/bin/python3
"""Renders the turning torus knot (or, with --scene bunny, the Stanford
bunny through the clip-space call) on a Dask cluster, one frame per task,
and writes the frames as PNG files with a manifest of their hashes.

    render_farm.py [--frames N] [--size WxH] [--workers K] [--scheduler ADDRESS]
                   [--out DIR] [--retries R] [--library PATH] [--local-directory DIR]
                   [--scene knot|bunny]

Without --scheduler a LocalCluster of K worker processes (default 4) runs
here; with it, the frames go to the cluster at ADDRESS (``dask scheduler``
elsewhere, workers with kwrender installed).  The manifest
(DIR/manifest.json) lists every frame's file and the SHA-256 of its pixels
(the 32 bpp frame's bytes, blue, green, red, alpha, which the PNG file
holds too).

Every file is written beside its name and moved over it when complete, so
an interrupted run leaves whole files only.  A frame whose task fails is
tried again (R more times, default 2; a worker that dies is replaced and its
frames drawn elsewhere).  The manifest is written at the end whatever
happened, listing the frames done and the frames that failed; a run in a
directory that has one skips the frames whose file is there with the
recorded hash, so a stopped run goes on where it stopped.  Exits 0 when
every frame is done.

Every worker computes its frame from the frame number alone
(knot_scene.py, sent to the workers), in arithmetic that IEEE 754 defines
to the bit, and the rasteriser gives the same bytes for the same input: a
frame is the same bytes whichever worker, machine or operating system
draws it, so the manifest's hashes can be checked anywhere.
"""

from __future__ import annotations

import argparse
import hashlib
import importlib.util
import json
import os
import sys
import time
import uuid
from typing import Callable, Dict, Optional

HERE = os.path.dirname(os.path.abspath(__file__))
PACKAGE_DIR = os.path.dirname(HERE)


def frame_task(index: int, width: int, height: int):
    """One frame on a worker: (index, SHA-256 of its pixels, its PNG bytes)."""
    from knot_scene import render_frame

    return render_frame(index, width, height)


def bunny_task(index: int, width: int, height: int):
    """One frame of the turning bunny (bunny_scene.py) on a worker."""
    from bunny_scene import render_frame

    return render_frame(index, width, height)


def write_file(path: str, data: bytes) -> None:
    """Writes data to a temporary file beside path and moves it over path."""
    temp = f"{path}.tmp-{os.getpid()}"
    try:
        with open(temp, "wb") as f:
            f.write(data)
            f.flush()
            os.fsync(f.fileno())
        os.replace(temp, path)
    except BaseException:
        if os.path.exists(temp):
            os.remove(temp)
        raise


def file_hash(path: str) -> Optional[str]:
    """The SHA-256 of the pixels of a frame file (None when it does not load)."""
    import kwrender

    try:
        return hashlib.sha256(kwrender.load_image(path).tobytes()).hexdigest()
    except (OSError, kwrender.KwrenderError):
        return None


def frames_on_disk(out: str, frames: int, width: int, height: int) -> Dict[int, dict]:
    """The frames of an earlier run in `out` whose file has the recorded hash."""
    try:
        with open(os.path.join(out, "manifest.json")) as f:
            old = json.load(f)
    except (OSError, ValueError):
        return {}
    if old.get("width") != width or old.get("height") != height:
        return {}
    return {e["index"]: e for e in old.get("frames", [])
            if 0 <= e["index"] < frames and file_hash(os.path.join(out, e["file"])) == e["sha256"]}


def farm(client, frames: int, width: int, height: int, out: str, retries: int = 2,
         render: Callable = frame_task, on_frame: Optional[Callable[[int], None]] = None) -> dict:
    """Draws the frames not yet in `out` on the client's cluster, writes each
    PNG as it arrives and the manifest at the end (also after an error);
    returns the manifest.  on_frame(index) is called after each file."""
    from dask.distributed import as_completed

    import kwrender

    os.makedirs(out, exist_ok=True)
    done = frames_on_disk(out, frames, width, height)
    if done:
        print(f"{len(done)} frames already in {out}", flush=True)
    failed: Dict[int, str] = {}
    tries = {i: 0 for i in range(frames)}

    # Keys of this run only: the scheduler may still hold results of an
    # earlier run under keys without it (drawn by another render function).
    run = uuid.uuid4().hex[:12]

    def submit(i: int):
        return client.submit(render, i, width, height, key=f"frame-{i}-{width}x{height}-{run}-try{tries[i]}",
                             pure=False)

    pending = {submit(i): i for i in range(frames) if i not in done}
    queue = as_completed(list(pending))
    try:
        for future in queue:
            i = pending.pop(future)
            try:
                _, digest, png = future.result()
            except Exception as e:  # the task raised, or its workers kept dying
                tries[i] += 1
                if tries[i] > retries:
                    failed[i] = f"{type(e).__name__}: {e}"
                    print(f"frame {i}: failed {tries[i]} times: {failed[i]}", flush=True)
                else:
                    print(f"frame {i}: {type(e).__name__}: {e}; trying again", flush=True)
                    retry = submit(i)
                    pending[retry] = i
                    queue.add(retry)
                continue
            name = f"frame_{i:04d}.png"
            write_file(os.path.join(out, name), png)
            done[i] = {"index": i, "file": name, "sha256": digest}
            print(f"frame {i}: {digest[:16]}", flush=True)
            if on_frame is not None:
                on_frame(i)
    finally:
        for future in pending:
            future.cancel()
        manifest = {"width": width, "height": height, "bits_per_pixel": 32, "kwrender": kwrender.version(),
                    "complete": len(done) == frames, "frames": [done[i] for i in sorted(done)],
                    "failed": [{"index": i, "error": failed[i]} for i in sorted(failed)]}
        write_file(os.path.join(out, "manifest.json"), (json.dumps(manifest, indent=1) + "\n").encode())
    return manifest


def main(argv=None) -> int:
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--frames", type=int, default=24)
    ap.add_argument("--size", default="640x480")
    ap.add_argument("--workers", type=int, default=4, help="worker processes of the local cluster")
    ap.add_argument("--scheduler", help="address of a running Dask scheduler (instead of a local cluster)")
    ap.add_argument("--out", default="farm")
    ap.add_argument("--retries", type=int, default=2, help="more tries of a frame whose task fails")
    ap.add_argument("--library", help="the kwrender shared library (else as the package finds it)")
    ap.add_argument("--local-directory", help="scratch directory of the local workers")
    ap.add_argument("--scene", choices=("knot", "bunny"), default="knot",
                    help="the torus knot, or the Stanford bunny through the clip-space call")
    args = ap.parse_args(argv)
    width, height = (int(v) for v in args.size.lower().split("x"))

    # Local workers inherit the environment: the library's path, the scene
    # module, and this source tree's package when none is installed.
    if args.library:
        os.environ["KWRENDER_LIBRARY"] = os.path.abspath(args.library)
    paths = [HERE]
    if importlib.util.find_spec("kwrender") is None and os.path.isdir(os.path.join(PACKAGE_DIR, "kwrender")):
        paths.append(PACKAGE_DIR)
    os.environ["PYTHONPATH"] = os.pathsep.join(paths + [p for p in [os.environ.get("PYTHONPATH")] if p])
    sys.path[:0] = paths
    if args.local_directory:
        os.environ["DASK_TEMPORARY_DIRECTORY"] = os.path.abspath(args.local_directory)

    render = frame_task
    if args.scene == "bunny":
        from bunny_scene import missing

        why = missing()
        if why is not None:
            print(f"skipped: {why}")
            return 0
        render = bunny_task

    from dask.distributed import Client, LocalCluster

    start = time.perf_counter()
    if args.scheduler:
        cluster = None
        client = Client(args.scheduler)
        # The scene goes to the workers with the tasks; kwrender must be installed there.
        client.upload_file(os.path.join(HERE, "knot_scene.py"))
        client.upload_file(os.path.join(HERE, "bunny_scene.py"))
    else:
        cluster = LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                               dashboard_address=None, local_directory=args.local_directory)
        client = Client(cluster)
    try:
        manifest = farm(client, args.frames, width, height, args.out, args.retries, render=render)
        print(f"{len(manifest['frames'])} of {args.frames} frames of {width}x{height} in "
              f"{time.perf_counter() - start:.1f} s: {os.path.join(args.out, 'manifest.json')}")
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
    return 0 if manifest["complete"] else 1


if __name__ == "__main__":
    sys.exit(main())

"""The render farm on a local cluster of two worker processes: one worker
killed mid-run and one frame failing once still give every frame, each
equal to the same frame rendered here; a second run skips what is done."""

import hashlib
import json
import os
import signal
import subprocess
import sys

import numpy as np
import pytest

import kwrender

HERE = os.path.dirname(os.path.abspath(__file__))
EXAMPLES = os.path.join(os.path.dirname(HERE), "examples")
sys.path.insert(0, EXAMPLES)

import knot_scene  # noqa: E402
import render_farm  # noqa: E402

SIZE = (96, 72)
pytestmark = pytest.mark.skipif(not kwrender.png_supported(), reason="the farm writes PNG files")


def flaky_frame(index, width, height, marker_dir):
    """Frame 2 fails on its first try (a marker file remembers the try)."""
    marker = os.path.join(marker_dir, f"tried-{index}")
    if index == 2 and not os.path.exists(marker):
        open(marker, "w").close()
        raise RuntimeError("a failure of the frame's first try")
    return knot_scene.render_frame(index, width, height)


@pytest.fixture(scope="module")
def cluster(tmp_path_factory):
    distributed = pytest.importorskip("dask.distributed")
    # The workers import this module (the flaky task) and the scene.
    os.environ["PYTHONPATH"] = os.pathsep.join([HERE, EXAMPLES] + [p for p in [os.environ.get("PYTHONPATH")] if p])
    local = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None,
                                     local_directory=str(tmp_path_factory.mktemp("dask")))
    client = distributed.Client(local)
    yield client
    client.close()
    local.close()


def expect_frames(out, manifest, frames):
    assert manifest["complete"] and not manifest["failed"]
    assert [f["index"] for f in manifest["frames"]] == list(range(frames))
    assert json.loads((out / "manifest.json").read_text()) == manifest
    digests = set()
    for entry in manifest["frames"]:
        _, digest, _ = knot_scene.render_frame(entry["index"], *SIZE)
        assert entry["sha256"] == digest
        pixels = kwrender.load_image(out / entry["file"])  # the PNG holds the frame's bytes
        assert hashlib.sha256(pixels.tobytes()).hexdigest() == digest
        digests.add(digest)
    assert len(digests) == frames  # the knot turns
    assert not [n for n in os.listdir(out) if ".tmp" in n]


def test_a_killed_worker_and_a_failed_frame_still_give_every_frame(cluster, tmp_path):
    from functools import partial

    import test_render_farm

    out = tmp_path / "frames"
    pids = sorted(cluster.run(os.getpid).values())
    killed = []

    def kill_one_worker(index):
        if not killed:
            os.kill(pids[0], signal.SIGKILL)  # its nanny starts another; its tasks go elsewhere
            killed.append(index)

    render = partial(test_render_farm.flaky_frame, marker_dir=str(tmp_path))
    manifest = render_farm.farm(cluster, 6, *SIZE, str(out), retries=2, render=render,
                                           on_frame=kill_one_worker)
    assert killed and os.path.exists(tmp_path / "tried-2")
    expect_frames(out, manifest, 6)

    # Again in the same directory: nothing to draw.  With one file damaged
    # and one removed, just those two are drawn again.
    drawn = []
    again = render_farm.farm(cluster, 6, *SIZE, str(out), on_frame=drawn.append)
    assert drawn == [] and again == manifest
    (out / "frame_0001.png").write_bytes((out / "frame_0001.png").read_bytes()[:100])
    (out / "frame_0004.png").unlink()
    again = render_farm.farm(cluster, 6, *SIZE, str(out), on_frame=drawn.append)
    assert sorted(drawn) == [1, 4]
    expect_frames(out, again, 6)


def test_a_frame_that_always_fails_is_in_the_manifest(cluster, tmp_path):
    out = tmp_path / "frames"
    manifest = render_farm.farm(cluster, 2, *SIZE, str(out), retries=1, render=always_fails)
    assert not manifest["complete"] and manifest["frames"] == []
    assert [f["index"] for f in manifest["failed"]] == [0, 1] and "no frame" in manifest["failed"][0]["error"]
    assert json.loads((out / "manifest.json").read_text()) == manifest


def always_fails(index, width, height):
    raise ValueError("no frame")


def test_the_command_line(tmp_path):
    pytest.importorskip("dask.distributed")
    out = tmp_path / "cli"
    subprocess.run([sys.executable, os.path.join(EXAMPLES, "render_farm.py"), "--frames", "2", "--size", "96x72",
                    "--workers", "1", "--out", str(out), "--local-directory", str(tmp_path / "dask")],
                   check=True, timeout=300)
    expect_frames(out, json.loads((out / "manifest.json").read_text()), 2)


def test_exact_sine():
    x = np.linspace(-40, 40, 1001)
    assert np.abs(knot_scene.sin_exact(x) - np.sin(x)).max() < 1e-13


def test_the_bunny_frame_is_the_same_bytes_each_time():
    import bunny_scene

    why = bunny_scene.missing()
    if why is not None:
        pytest.skip(why)
    index, digest, png = bunny_scene.render_frame(5, 96, 72)
    assert (index, digest) == bunny_scene.render_frame(5, 96, 72)[:2]
    assert png[:8] == b"\x89PNG\r\n\x1a\n"
    # It turns: the next frame differs.
    assert digest != bunny_scene.render_frame(6, 96, 72)[1]

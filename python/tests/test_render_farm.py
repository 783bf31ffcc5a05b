"""The render farm on a local cluster of two worker processes: every frame's
hash and file equal the same frame rendered here, in one process."""

import json
import os
import subprocess
import sys

import pytest

EXAMPLES = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "examples")
sys.path.insert(0, EXAMPLES)

import knot_scene  # noqa: E402


def test_frames_from_the_cluster_equal_frames_from_one_process(tmp_path):
    pytest.importorskip("dask.distributed")
    out = tmp_path / "frames"
    subprocess.run([sys.executable, os.path.join(EXAMPLES, "render_farm.py"), "--frames", "5", "--size", "96x72",
                    "--workers", "2", "--out", str(out), "--local-directory", str(tmp_path / "dask")],
                   check=True, timeout=300)
    manifest = json.loads((out / "manifest.json").read_text())
    assert [f["index"] for f in manifest["frames"]] == list(range(5))
    digests = set()
    for entry in manifest["frames"]:
        index, digest, png = knot_scene.render_frame(entry["index"], 96, 72)
        assert entry["sha256"] == digest
        assert (out / entry["file"]).read_bytes() == png
        digests.add(digest)
    assert len(digests) == 5  # the knot turns


def test_exact_sine_and_png():
    import numpy as np

    x = np.linspace(-40, 40, 1001)
    assert np.abs(knot_scene.sin_exact(x) - np.sin(x)).max() < 1e-13
    png = knot_scene.encode_png(np.zeros((2, 3, 3), np.uint8))
    assert png.startswith(b"\x89PNG\r\n\x1a\n") and png.endswith(b"IEND\xaeB`\x82")

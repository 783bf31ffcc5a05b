"""The example notebook runs headless (Debian's jupyter-nbconvert and
ipykernel, with this interpreter as the kernel) and its output holds the
frame as a PNG picture."""

import base64
import json
import os
import shutil
import subprocess
import sys

import pytest

import kwrender

EXAMPLES = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "examples")


@pytest.mark.skipif(not kwrender.png_supported(), reason="the library was built without libpng")
def test_the_notebook_shows_the_frame(tmp_path):
    pytest.importorskip("ipykernel")
    pytest.importorskip("nbconvert")
    # A kernel of this interpreter, which imports the kwrender under test.
    kernel_dir = tmp_path / "jupyter" / "kernels" / "python3"
    kernel_dir.mkdir(parents=True)
    (kernel_dir / "kernel.json").write_text(json.dumps({
        "argv": [sys.executable, "-m", "ipykernel_launcher", "-f", "{connection_file}"],
        "display_name": "kwrender test", "language": "python"}))
    shutil.copy(os.path.join(EXAMPLES, "scene.ipynb"), tmp_path / "scene.ipynb")
    env = dict(os.environ, JUPYTER_PATH=str(tmp_path / "jupyter"), JUPYTER_DATA_DIR=str(tmp_path / "jupyter"),
               PYTHONPATH=os.path.dirname(os.path.dirname(kwrender.__file__)))
    subprocess.run([sys.executable, "-m", "nbconvert", "--to", "notebook", "--execute", "--output", "run.ipynb",
                    "--ExecutePreprocessor.timeout=120", str(tmp_path / "scene.ipynb")],
                   check=True, env=env, cwd=tmp_path, timeout=300, capture_output=True)
    cells = json.loads((tmp_path / "run.ipynb").read_text())["cells"]
    pictures = [o["data"]["image/png"] for c in cells if c["cell_type"] == "code" for o in c.get("outputs", [])
                if "image/png" in o.get("data", {})]
    assert len(pictures) == 1
    shown = kwrender.load_image(base64.b64decode(pictures[0]))
    assert shown.shape == (200, 320, 4)
    assert (shown == kwrender.load_image(tmp_path / "scene.png")).all()  # the frame the notebook saved
    assert len({tuple(p) for p in shown.reshape(-1, 4)[::97]}) > 20  # a picture, not a plain fill

"""The code of docs/python.md, its blocks in order, and the examples, on the real clip."""

import re
import subprocess
import sys
from pathlib import Path

import cv2
import pytest
from support import CLIP, needs_clip

ROOT = Path(__file__).parents[2]
pytestmark = needs_clip


def test_page(tmp_path, monkeypatch):
    page = (ROOT / "docs/python.md").read_text(encoding="utf8")
    code = "\n".join(re.findall(r"```python\n(.*?)```", page, re.DOTALL))
    (tmp_path / "vtest.avi").symlink_to(CLIP)
    monkeypatch.chdir(tmp_path)
    exec(compile(code, "docs/python.md", "exec"), {})
    for picture in re.findall(r"\(images/(.*)\)", page):
        assert cv2.imread(picture).shape == (576, 768, 3)
        assert (ROOT / "docs/images" / picture).exists()


@pytest.mark.parametrize(
    "command, says",
    [
        ("segment.py {clip} masks.png 60", r"[\d.]+% young, 0.0% stationary: masks.png"),
        ("follow.py {clip} tracks.txt paths.png tracks.txt", "Scores\\(mota=1, idf1=1,"),
        ("count.py {clip} 400 576 400 0", "'CROSSED_TO_LEFT': [1-9]"),
        ("pair.py {clip} 60", "60 frames; now there:\n  [1-9]"),
    ],
)
def test_example(command, says, tmp_path):
    script, *arguments = command.format(clip=CLIP).split()
    told = subprocess.run(
        [sys.executable, ROOT / "examples" / script, *arguments],
        cwd=tmp_path,
        stdout=subprocess.PIPE,
        text=True,
        check=True,
    ).stdout
    assert re.search(says, told)

#!/usr/bin/env python3
"""Runs a page's blocks of Python, top to bottom, and compares what they print and draw with the page:
page_test.py PAGE. With --first only the first block; with --write the page's pictures are replaced."""
import contextlib
import io
import os
import pathlib
import re
import shutil
import sys
import tempfile

page = pathlib.Path(sys.argv[1]).resolve()
text = page.read_text(encoding="ascii")
blocks = re.findall(r"^```python\n(.*?)^```\n(?:\n```text\n(.*?)^```\n)?", text, re.M | re.S)
if len(blocks) != text.count("```python") or not blocks:
    sys.exit(f"{page.name}: not all blocks are found")
if "--first" in sys.argv:
    del blocks[1:]

folder = tempfile.mkdtemp()
os.chdir(folder)
names, bad = {}, 0
for number, (block, wanted) in enumerate(blocks, 1):
    printed = io.StringIO()
    with contextlib.redirect_stdout(printed):
        exec(compile(block, f"block {number} of {page.name}", "exec"), names)
    if printed.getvalue() != wanted:
        print(f"block {number} of {page.name} prints\n{printed.getvalue()}instead of\n{wanted}")
        bad += 1
pictures = sorted(pathlib.Path(folder).glob("*.png"))
if "--first" not in sys.argv:
    shown = sorted(re.findall(r"\]\(([^)]*\.png)\)", text))
    if shown != [picture.name for picture in pictures]:
        sys.exit(f"{page.name} shows {shown}, its blocks draw {[p.name for p in pictures]}")
for picture in pictures:
    if "--write" in sys.argv:
        shutil.copy(picture, page.parent)
        continue
    import matplotlib.image
    import numpy
    drawn, kept = (matplotlib.image.imread(at / picture.name) for at in (picture.parent, page.parent))
    if drawn.shape != kept.shape or numpy.abs(drawn - kept).mean() > 0.01:
        print(f"{picture.name} is another picture than the page's")
        bad += 1
shutil.rmtree(folder)
print(f"{len(blocks)} blocks, {len(pictures)} pictures")
sys.exit(bad != 0)

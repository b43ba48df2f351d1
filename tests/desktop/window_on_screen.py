#!/usr/bin/env python3
"""Start the example of a window under Wine and look at what it shows.

    tests/desktop/window_on_screen.py build/windows/example_window.exe

The screen is one of memory, and its picture a file that is read while the program runs. Nothing waits for a fixed
time: the program makes a file when its stars have moved for a while, goes on, and ends when that file is deleted, which
is done here as soon as all was seen. A picture with the caret stays beside the program, as window.png. Exit status 0 if
all was seen and the program ended well, 1 if not.
"""
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import sys
import time
import zlib

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
TICKS = 25             # of a tenth of a second each: every star has moved
PATIENCE = 300         # seconds from the start of the screen, for a machine that has much else to do
BLACK, WHITE = (0, 0, 0), (255, 255, 255)
ICONS = {"information": (8, 8), "warning": (48, 8), "stop": (88, 8)}
CARET = (300, 40, 16)  # left, top, height


class Picture:
    """A part of a screen, from a file of the form XWD with 32 bits a pixel."""

    def __init__(self, data, left, top, width, height):
        header = struct.unpack(">25I", data[:100])
        (size, form, depth, screen_width, screen_height, line) = (header[0], header[2], header[3], header[4], header[5],
                                                                   header[12])
        bits, colours = header[11], header[19]
        if form != 2 or depth != 24 or bits != 32:
            raise ValueError("a picture of another kind than was asked for")
        order = "<" if header[7] == 0 else ">"
        masks = header[14:17]
        if (header[14], header[15], header[16]) != (0xFF0000, 0xFF00, 0xFF):
            raise ValueError(f"colours stand elsewhere: {masks}")
        if left < 0 or top < 0 or left + width > screen_width or top + height > screen_height:
            raise ValueError("the window is not on the screen as a whole")
        first = size + colours * 12
        self.width, self.height, self.rows = width, height, []
        for y in range(top, top + height):
            start = first + y * line + left * 4
            words = struct.unpack(f"{order}{width}I", data[start:start + width * 4])
            self.rows.append([(word >> 16 & 255, word >> 8 & 255, word & 255) for word in words])

    def at(self, x, y):
        return self.rows[y][x]

    def save(self, path):
        """As PNG."""
        raw = b"".join(b"\0" + bytes(value for pixel in row for value in pixel) for row in self.rows)

        def chunk(kind, content):
            return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))

        header = struct.pack(">2I5B", self.width, self.height, 8, 2, 0, 0, 0)
        path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw))
                         + chunk(b"IEND", b""))


def is_in_icon(x, y):
    return any(left <= x < left + 32 and top <= y < top + 32 for left, top in ICONS.values())


def is_in_caret(x, y):
    left, top, height = CARET
    return x == left and top <= y < top + height


def look(picture, before):
    """What a picture shows, behind another one that may be None: a set of words, and details in words."""
    seen = set()
    strangers = []
    stars = {}
    moved = 0
    for y in range(picture.height):
        for x in range(picture.width):
            if is_in_icon(x, y) or is_in_caret(x, y):
                continue
            moved += before is not None and before.at(x, y) != picture.at(x, y)
            if picture.at(x, y) == BLACK:
                continue
            if picture.at(x, y) != WHITE:
                strangers.append((x, y, picture.at(x, y)))
            quadrant = ("upper" if y < picture.height / 2 else "lower", "left" if x < picture.width / 2 else "right")
            stars[quadrant] = stars.get(quadrant, 0) + 1
    for quadrant, count in stars.items():
        if count >= 3:
            seen.add(f"stars in the {' '.join(quadrant)} quadrant")
    if not strangers and sum(stars.values()) <= 100:
        seen.add("nothing but white stars on black")
    if moved >= 10:
        seen.add("stars that move")

    for name, (left, top) in ICONS.items():
        pixels = [picture.at(x, y) for y in range(top, top + 32) for x in range(left, left + 32)]
        if sum(pixel not in (BLACK, WHITE) for pixel in pixels) >= 300 and len(set(pixels)) >= 8:
            seen.add(f"the {name} icon")

    left, top, height = CARET
    bar = [picture.at(left, y) for y in range(top, top + height)]
    if bar.count(WHITE) >= height - 2:
        seen.add("the caret")
    if bar.count(BLACK) >= height - 2:
        seen.add("the caret blink")
    return seen, f"stars: {stars}, moved: {moved}, strangers: {len(strangers)} {strangers[:5]}"


WANTED = {f"stars in the {y} {x} quadrant" for y in ("upper", "lower") for x in ("left", "right")} | {
    "nothing but white stars on black", "stars that move", "the information icon", "the warning icon", "the stop icon",
    "the caret", "the caret blink"}


def watch(folder, mark, process, picture_path):
    """What was not seen until the patience was at its end."""
    screen = folder / "Xvfb_screen0"
    while not screen.exists() and process.poll() is None:
        time.sleep(0.1)  # scripts/wine lets one in after the other, so this can take as long as all the others
    end = time.monotonic() + PATIENCE
    place = None
    missing = set(WANTED)
    details = "the program has not come so far as to make its file"
    last = None  # picture
    shown = None  # the last one with the caret
    while missing and time.monotonic() < end and process.poll() is None:
        time.sleep(0.1)  # between two looks; what is looked for decides
        if place is None:
            words = mark.read_text().split() if mark.exists() and mark.read_text().endswith("\n") else []
            if not words:
                continue
            place = [int(word) for word in words[1:5]]
            print(f"the inside of the window: {place}")
        picture = Picture(screen.read_bytes(), *place)
        seen, details = look(picture, last)
        missing -= seen
        last = picture
        if "the caret" in seen:
            shown = picture
    if last:
        (shown or last).save(picture_path)
    for word in sorted(WANTED - missing):
        print(f"seen: {word}")
    print(details)
    return missing


def end(process, patience):
    """The exit status, or what else became of it."""
    try:
        return process.wait(patience)
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        return "no end of its own"


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    folder = program.parent / "screen"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    mark = folder / "shown.mark"
    # Wine understands the path from the folder in which scripts/wine starts a program, the repository.
    process = subprocess.Popen([REPOSITORY / "scripts/wine", REPOSITORY / "tests/desktop/on_screen", folder, program,
                                str(TICKS), os.path.relpath(mark, REPOSITORY)], cwd=REPOSITORY,
                               start_new_session=True)
    missing = WANTED
    try:
        missing = watch(folder, mark, process, program.parent / "window.png")
    finally:
        mark.unlink(missing_ok=True)
        status = end(process, 10 if missing else PATIENCE)
    for word in sorted(missing):
        print(f"NOT seen: {word}")
    if status != 0:
        print(f"the program ended with {status}")
    return 1 if missing or status != 0 else 0


sys.exit(main())

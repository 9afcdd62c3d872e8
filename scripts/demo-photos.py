#!/usr/bin/env python3
"""Draws the photos the demo company's articles and categories name, as small real images.

    scripts/demo-photos.py COMPANY.db FOLDER

Reads the photo column of ARTICOLO and CATEGORIA from the SQLite company database and writes one
picture per name into FOLDER: ".png" names as PNG (written here), ".jpg" names as JPEG (through
cjpeg of libjpeg-turbo-progs). Each picture is 160 x 120, a few KB, in its category's colour with
a pattern of its own, so that a changed photo is a visibly different file. Existing files are
overwritten; the same database gives the same bytes.
"""
import hashlib
import os
import sqlite3
import struct
import subprocess
import sys
import zlib

WIDTH, HEIGHT = 160, 120
COLOURS = {"ali": (214, 140, 48), "bev": (52, 120, 196), "car": (120, 120, 128), "cas": (60, 160, 90),
           "igi": (190, 90, 160), "cat": (200, 60, 60)}


def pixels(name):
    """Rows of (r, g, b): the category's colour, rings around a point and stripes from the name."""
    seed = hashlib.md5(name.encode()).digest()
    base = COLOURS.get(name[:3], (128, 128, 128))
    cx, cy = 40 + seed[0] % 80, 30 + seed[1] % 60
    stripe = 6 + seed[2] % 10
    rows = []
    for y in range(HEIGHT):
        row = []
        for x in range(WIDTH):
            ring = int(((x - cx) ** 2 + (y - cy) ** 2) ** 0.5) // 12 % 2
            band = (x + y) // stripe % 2
            shade = 0.55 + 0.3 * ring + 0.15 * band
            row.append(tuple(min(255, int(c * shade)) for c in base))
        rows.append(row)
    return rows


def write_png(path, rows):
    raw = b"".join(b"\x00" + bytes(c for px in row for c in px) for row in rows)

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n")
        out.write(chunk(b"IHDR", struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 2, 0, 0, 0)))
        out.write(chunk(b"IDAT", zlib.compress(raw, 9)))
        out.write(chunk(b"IEND", b""))


def write_jpeg(path, rows):
    ppm = b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT) + b"".join(bytes(c for px in row for c in px) for row in rows)
    with open(path, "wb") as out:
        subprocess.run(["cjpeg", "-quality", "80", "-optimize"], input=ppm, stdout=out, check=True)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    database, folder = sys.argv[1:]
    os.makedirs(folder, exist_ok=True)
    with sqlite3.connect(database) as db:
        names = sorted({row[0] for table in ("ARTICOLO", "CATEGORIA")
                        for row in db.execute(f"SELECT FOTO FROM {table} WHERE FOTO IS NOT NULL AND FOTO <> ''")})
    for name in names:
        if os.path.basename(name) != name:
            continue  # only plain names belong to the photo folder
        path = os.path.join(folder, name)
        (write_png if name.lower().endswith(".png") else write_jpeg)(path, pixels(name))
    print(f"demo-photos: {len(names)} photos in {folder}")


if __name__ == "__main__":
    main()

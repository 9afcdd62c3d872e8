#!/usr/bin/env python3
"""Writes a sample Pellor article package into OUTDIR: "archivi.zip" (settori.txt, articoli.txt,
disponib.txt, fotoinfo.txt) and the photos it lists (<code>.jpg), as the partner publishes them on
its FTP server. The records are laid out field by field from the partner's layouts below.

usage: make_pellor_sample.py OUTDIR [--photos DIR]   (DIR: small JPEG files, default tests/data/photos)
"""
import os
import sys
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))


def record(length, fields):
    """A fixed-length record: (offset, text) pairs placed in blanks, ended by CR LF."""
    body = [" "] * (length - 2)
    for offset, text in fields:
        for i, ch in enumerate(text):
            body[offset + i] = ch
    return ("".join(body) + "\r\n").encode("cp1252")


def number(value, width, decimals):
    """A number with a decimal comma, zero-padded to the width."""
    return f"{value:0{width}.{decimals}f}".replace(".", ",")


# settori.txt (36 bytes): number 0/3, name 3/30, flag 33/1
CATEGORIES = [(1, "Alimentari", "S"), (2, "", " "), (7, "Fuori catalogo", "n")]

# articoli.txt (256 bytes): code 0/6, barcode 13/13, second code 26/13, description 39/60,
# price 100/17, second price 118/17, weight 135/7, maker 142/30, cost 173/17, volume 191/17,
# purchase price 209/17, pack 226/7, reorder quantity 236/15, category 251/3
ARTICLES = [
    ("ALI001", "", "PL-ALI001", "Spaghetti di semola 500 g (Pellor)", 1.25, 1.1, 0.5, "Pastificio Gragnano", 0.6, 0.001, 0.55, 24, 48, 1),
    ("PEL001", "8000000000017", "", "Tazza in ceramica decorata", 6.5, 5.9, 0.35, "Ceramiche Vietri", 3.1, 0.002, 3.0, 6, 12, 1),
    ("PEL002", "8000000000024", "", "Set sottobicchieri sughero", 3.2, 2.9, 0.12, "Sugherificio Sardo", 1.4, 0.0005, 1.3, 0, 0, 2),
    ("PEL003", "", "", "Vassoio fine serie", 12.0, 10.0, 1.2, "", 7.0, 0.01, 6.5, 1, 0, 7),
]

# disponib.txt (55 bytes): code 0/6, stock 13/16, ordered 29/16, date 45/8 (DDMMYYYY)
STOCK = [("ALI001", 120.0, 24.0, "15032026"), ("PEL001", 18.0, 0.0, "15032026"), ("ZZZ999", 5.0, 0.0, "15032026")]

# fotoinfo.txt (31 bytes): code 0/6, time stamp 6/14 (YYYYMMDDhhmmss), size 20/9
PHOTOS = [("ALI001", "small.jpg", "20260315093000"), ("PEL001", "b.jpg", "20260316101500"), ("PEL002", "small.jpg", "20260316101600")]


def main():
    args = sys.argv[1:]
    if not args:
        sys.exit(__doc__)
    out = args[0]
    photos = os.path.join(HERE, "..", "tests", "data", "photos")
    if "--photos" in args:
        photos = args[args.index("--photos") + 1]
    os.makedirs(out, exist_ok=True)

    settori = b"".join(record(36, [(0, f"{n:03d}"), (3, name[:30]), (33, flag)]) for n, name, flag in CATEGORIES)
    articoli = b"".join(
        record(256, [(0, code), (13, barcode), (26, second), (39, descr[:60]), (100, number(price, 17, 5)),
                     (118, number(price2, 17, 5)), (135, number(weight, 7, 3)), (142, maker[:30]),
                     (173, number(cost, 17, 5)), (191, number(volume, 17, 5)), (209, number(purchase, 17, 5)),
                     (226, f"{pack:07d}"), (236, number(reorder, 15, 3)), (251, f"{cat:03d}")])
        for code, barcode, second, descr, price, price2, weight, maker, cost, volume, purchase, pack, reorder, cat
        in ARTICLES)
    disponib = b"".join(record(55, [(0, code), (13, number(q1, 16, 3)), (29, number(q2, 16, 3)), (45, date)])
                        for code, q1, q2, date in STOCK)
    fotoinfo = b""
    for code, source, stamp in PHOTOS:
        data = open(os.path.join(photos, source), "rb").read()
        with open(os.path.join(out, code + ".jpg"), "wb") as f:
            f.write(data)
        fotoinfo += record(31, [(0, code), (6, stamp), (20, f"{len(data):09d}")])

    with zipfile.ZipFile(os.path.join(out, "archivi.zip"), "w", zipfile.ZIP_DEFLATED) as z:
        z.writestr("settori.txt", settori)
        z.writestr("articoli.txt", articoli)
        z.writestr("disponib.txt", disponib)
        z.writestr("fotoinfo.txt", fotoinfo)


if __name__ == "__main__":
    main()

"""picture_difference.py A.png B.png: prints the largest difference of a byte between two pictures of one size.

PNG of 8-bit colour without interlacing, which is what vorin-stylize writes, by the standard library alone.
"""

import struct
import sys
import zlib


def predicted(kind, left, above, above_left):
    """What a filter of PNG adds to a byte."""
    if kind == 4:  # the neighbour nearest to left + above - above_left
        estimate = left + above - above_left
        return min((left, above, above_left), key=lambda neighbour: abs(estimate - neighbour))
    return (0, left, above, (left + above) // 2)[kind]


def read_png(name):
    """Width, height and the bytes of the pixels."""
    with open(name, "rb") as file:
        content = file.read()
    assert content[:8] == b"\x89PNG\r\n\x1a\n", f"{name} is no PNG file"
    chunks, at = {}, 8
    while at < len(content):
        (size,) = struct.unpack(">I", content[at : at + 4])
        kind = content[at + 4 : at + 8]
        chunks[kind] = chunks.get(kind, b"") + content[at + 8 : at + 8 + size]
        at += size + 12
    width, height, *form = struct.unpack(">IIBBBBB", chunks[b"IHDR"])
    assert form == [8, 2, 0, 0, 0], f"{name} is a PNG file of another form: {form}"
    stream, row_bytes = zlib.decompress(chunks[b"IDAT"]), width * 3
    rows, above = [], bytearray(row_bytes + 3)  # three zeros before each row stand for what is left of it
    for start in range(0, height * (row_bytes + 1), row_bytes + 1):
        row = bytearray(3) + stream[start + 1 : start + 1 + row_bytes]
        for index in range(3, row_bytes + 3):
            row[index] = (row[index] + predicted(stream[start], row[index - 3], above[index], above[index - 3])) & 0xFF
        rows.append(bytes(row[3:]))
        above = row
    return width, height, b"".join(rows)


first, second = read_png(sys.argv[1]), read_png(sys.argv[2])
assert first[:2] == second[:2], f"{first[:2]} and {second[:2]} pixels"
print(max(abs(a - b) for a, b in zip(first[2], second[2])))

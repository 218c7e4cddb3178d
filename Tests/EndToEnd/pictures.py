"""Small real files for the scenarios."""
import struct
import zlib


def png(width, height):
    """An orange picture."""
    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))
    rows = (b"\0" + bytes((243, 91, 40)) * width) * height
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def document(*sizes):
    """A PDF of empty pages of these sizes in points, each told from the others by its size."""
    objects = [b"<< /Type /Catalog /Pages 2 0 R >>",
               b"<< /Type /Pages /Count %d /Kids [%s] >>" % (len(sizes), b" ".join(b"%d 0 R" % (3 + i) for i in range(len(sizes))))]
    objects += [b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 %d %d] >>" % size for size in sizes]
    body, places = b"%PDF-1.7\n", []
    for number, content in enumerate(objects, 1):
        places.append(len(body))
        body += b"%d 0 obj\n%s\nendobj\n" % (number, content)
    table = b"".join(b"%010d 00000 n \n" % place for place in places)
    return body + (b"xref\n0 %d\n0000000000 65535 f \n%strailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n"
                   % (len(objects) + 1, table, len(objects) + 1, len(body)))

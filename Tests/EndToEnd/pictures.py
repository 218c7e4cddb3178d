"""Small real files for the scenarios."""
import struct
import zlib


def png(width, height):
    """An orange picture."""
    return png_of(width, height, (b"\0" + bytes((243, 91, 40)) * width) * height)


def png_of(width, height, rows):
    """A picture of RGB rows, each behind a zero byte."""
    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def document(*sizes, text=""):
    """A PDF of pages of these sizes in points, each told from the others by its size; the text in plain letters stands
    on every one."""
    resources = 3 + 2 * len(sizes)
    objects = [b"<< /Type /Catalog /Pages 2 0 R >>",
               b"<< /Type /Pages /Count %d /Kids [%s] >>" % (len(sizes), b" ".join(b"%d 0 R" % (3 + 2 * i) for i in range(len(sizes))))]
    for i, (width, height) in enumerate(sizes):
        drawing = b"BT /F1 18 Tf 20 %d Td (%s) Tj ET" % (height - 40, text.encode()) if text else b""
        objects += [b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 %d %d] /Contents %d 0 R /Resources %d 0 R >>"
                    % (width, height, 4 + 2 * i, resources),
                    b"<< /Length %d >>\nstream\n%s\nendstream" % (len(drawing), drawing)]
    objects.append(b"<< /Font << /F1 << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >> >>")
    body, places = b"%PDF-1.7\n", []
    for number, content in enumerate(objects, 1):
        places.append(len(body))
        body += b"%d 0 obj\n%s\nendobj\n" % (number, content)
    table = b"".join(b"%010d 00000 n \n" % place for place in places)
    return body + (b"xref\n0 %d\n0000000000 65535 f \n%strailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n"
                   % (len(objects) + 1, table, len(objects) + 1, len(body)))

"""Programs that set a document: each function writes a PDF, or says by None that the program cannot do this one."""
import html
import os
import pathlib
import re
import shutil
import subprocess
import tempfile

from .documents import RIGHT_TO_LEFT, WITHOUT_BLANKS

WIDTH, HEIGHT, MARGIN = 595, 842, 64


def run(command, folder):
    environment = {**os.environ, "HOME": str(folder)}
    return subprocess.run(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=180,
                          env=environment, check=True).stdout


def bold(text, before, after):
    return re.sub(r"\*(.+?)\*", lambda found: before + found[1] + after, text)


def is_list(block):
    return block.kind in ("bullet", "item")


def groups(blocks):
    """The blocks, those of one list or table together."""
    group = []
    for block in blocks:
        if group and (group[-1].kind != block.kind or block.kind in ("heading", "paragraph")):
            yield group
            group = []
        group.append(block)
    yield group


# groff, in the manner of papers; English only.

def groff(document, path, folder):
    style = document.style
    if document.language != "en" or not shutil.which("groff") or style.drop_cap:
        return None
    size = style.size
    lines = [f".nr PS {size}p", f".nr VS {size * style.leading:.1f}p", ".nr LL 6i", ".nr PO 1.1i",
             f".nr PD {style.gap * size:.1f}p", ".ds CH", ".LP", ".2C" if style.columns == 2 else "",
             "" if style.justified else ".na"]

    def text(source):
        source = source.replace("\\", "\\e").replace("“", "\\(lq").replace("”", "\\(rq")
        return "\\&" + bold(source, "\\fB", "\\fP")

    for group in groups(document.blocks):
        if group[0].kind == "row":
            lines += [".TS", "tab(|);", "l r r l.", *["|".join(row.cells) for row in group], ".TE"]
            continue
        for block in group:
            if block.kind == "heading":
                lines += [".LP", ".ne 4", f".sp {style.heading_gap}v", f".ps {size * block.scale:.1f}",
                          f".vs {size * block.scale * 1.2:.1f}p", ".ft B" if style.bold_headings else "",
                          text(block.text), ".br", ".ft R", f".ps {size}", f".vs {size * style.leading:.1f}p"]
            elif block.kind == "paragraph":
                lines += [".LP" if style.gap else ".PP", text(block.text)]
            else:
                marker = "\\(bu" if block.kind == "bullet" else block.label
                lines += [f".IP {marker} {style.hang}p", text(block.text)]
    source = "\n".join(line for line in lines if line) + "\n"
    (folder / "in.ms").write_text(source)
    device = "pdf" if pathlib.Path("/usr/share/groff/current/font/devpdf").exists() else "ps"
    output = run(["groff", "-Kutf8", "-t", "-ms", "-T" + device, "in.ms"], folder)
    if device == "ps":
        (folder / "in.ps").write_bytes(output)
        run(["ps2pdf", "in.ps", str(path)], folder)
    else:
        path.write_bytes(output)
    return path


# TeX, in its first encoding, whose accents are signs of their own.

def tex(document, path, folder):
    style = document.style
    if document.language not in ("en", "de", "fr") or not shutil.which("pdflatex") or style.drop_cap:
        return None

    def text(source):
        source = source.replace("“", "``").replace("”", "''").replace("&", "\\&").replace("%", "\\%")
        return bold(source, "\\textbf{", "}")

    columns = ",twocolumn" if style.columns == 2 else ""
    lines = [f"\\documentclass[{min(max(round(style.size), 10), 12)}pt,a4paper{columns}]{{article}}",
             "\\usepackage[utf8]{inputenc}", f"\\linespread{{{style.leading / 1.2:.2f}}}", "\\setcounter{secnumdepth}{0}",
             f"\\setlength\\parskip{{{style.gap}\\baselineskip}}", "" if not style.gap else "\\setlength\\parindent{0pt}",
             "\\begin{document}", "" if style.justified else "\\raggedright"]
    if document.language != "en":
        lines.insert(2, "\\usepackage[%s]{babel}" % {"de": "ngerman", "fr": "french"}[document.language])
    for group in groups(document.blocks):
        kind = group[0].kind
        if kind == "row":
            rows = [" & ".join(text(cell) for cell in row.cells) + " \\\\" for row in group]
            lines += ["\\begin{center}\\begin{tabular}{lrrl}", *rows, "\\end{tabular}\\end{center}"]
        elif is_list(group[0]):
            name = "itemize" if kind == "bullet" else "enumerate"
            lines += [f"\\begin{{{name}}}", *["\\item " + text(block.text) for block in group], f"\\end{{{name}}}"]
        else:
            for block in group:
                step = block.scale * style.size
                weight = "\\bfseries" if style.bold_headings else ""
                lines.append(text(block.text) + "\n" if block.kind == "paragraph" else
                             f"\\par\\vspace{{{style.heading_gap}\\baselineskip}}{{\\noindent\\fontsize{{{step:.1f}}}"
                             f"{{{step * 1.2:.1f}}}\\selectfont{weight} {text(block.text)}\\par\\nobreak}}")
    (folder / "in.tex").write_text("\n".join(lines + ["\\end{document}"]))
    run(["pdflatex", "-interaction=batchmode", "in.tex"], folder)
    shutil.move(folder / "in.pdf", path)
    return path


# A browser's printing.

def page_of_hypertext(document):
    style = document.style
    direction = "rtl" if document.language in RIGHT_TO_LEFT else "ltr"
    css = f"""@page {{ size: A4; margin: {MARGIN}pt }}
body {{ font: {style.size}pt/{style.leading} 'Liberation Serif', 'Noto Naskh Arabic', serif; column-gap: 20pt; margin: 0;
  column-count: {style.columns if style.columns > 1 else 'auto'}; text-align: {'justify' if style.justified else 'start'} }}
p, ul, ol, table {{ margin: {style.gap}em 0; text-indent: {0 if style.gap else 1.5}em }}
li {{ text-indent: 0 }} ul, ol {{ padding-inline-start: {style.hang + 6}pt }} td {{ padding: 0 12pt; text-indent: 0 }}
.cap::first-letter {{ float: left; font-size: 3.2em; line-height: 0.85; padding-right: 2pt }}
.h {{ margin: {style.heading_gap}em 0 {style.heading_gap / 2}em; break-after: avoid; text-align: start; text-indent: 0;
  line-height: 1.2; font-weight: {'bold' if style.bold_headings else 'normal'} }}"""
    parts = []

    def text(source):
        return bold(html.escape(source), "<b>", "</b>")

    for group in groups(document.blocks):
        kind = group[0].kind
        if kind == "row":
            rows = ["<tr>" + "".join(f"<td>{text(cell)}</td>" for cell in row.cells) + "</tr>" for row in group]
            parts.append("<table>" + "".join(rows) + "</table>")
        elif is_list(group[0]):
            tag = "ul" if kind == "bullet" else "ol"
            parts.append(f"<{tag}>" + "".join(f"<li>{text(block.text)}</li>" for block in group) + f"</{tag}>")
        elif kind == "heading":
            parts += [f"<div class=h style='font-size:{block.scale}em'>{text(block.text)}</div>" for block in group]
        else:
            cap = " class=cap" if style.drop_cap else ""
            parts += [f"<p{cap}>{text(block.text)}</p>" for block in group]
    return (f"<!doctype html><html lang={document.language} dir={direction}><meta charset=utf-8><style>{css}</style>"
            f"<body>{''.join(parts)}</body></html>")


def browser(document, path, folder):
    program = shutil.which("chromium") or shutil.which("google-chrome")
    if not program:
        return None
    (folder / "in.html").write_text(page_of_hypertext(document))
    run([program, "--headless", "--no-sandbox", "--disable-gpu", "--no-pdf-header-footer", f"--print-to-pdf={path}",
         f"--user-data-dir={folder / 'profile'}", (folder / "in.html").as_uri()], folder)
    return path if path.exists() else None


# A word processor, by way of a document in its own format.

def open_document(document):
    style = document.style
    mode = "rl-tb" if document.language in RIGHT_TO_LEFT else "lr-tb"
    side = "end" if mode == "rl-tb" else "start"
    align = "justify" if style.justified else side
    font = f"fo:font-size='{style.size}pt' style:font-size-asian='{style.size}pt' style:font-size-complex='{style.size}pt'"
    spacing = f"fo:line-height='{style.leading * 87:.0f}%' style:writing-mode='{mode}'"
    gap = style.gap * style.size * style.leading
    names = "style:font-name='F' style:font-name-asian='A' style:font-name-complex='C'"
    headings = []
    for scale in sorted({block.scale for block in document.blocks if block.kind == "heading"}):
        size = scale * style.size
        weight = "bold" if style.bold_headings else "normal"
        headings.append(
            f"<style:style style:name='H{scale}' style:family='paragraph'><style:paragraph-properties "
            f"style:writing-mode='{mode}' fo:text-align='start' fo:margin-top='{style.heading_gap * size:.1f}pt' "
            f"fo:margin-bottom='{style.heading_gap * size / 2:.1f}pt' fo:keep-with-next='always'/><style:text-properties "
            f"{names} fo:font-size='{size:.1f}pt' style:font-size-asian='{size:.1f}pt' "
            f"style:font-size-complex='{size:.1f}pt' fo:font-weight='{weight}' style:font-weight-asian='{weight}' "
            f"style:font-weight-complex='{weight}'/></style:style>")
    label = (f"<style:list-level-properties text:list-level-position-and-space-mode='label-alignment'>"
             f"<style:list-level-label-alignment text:label-followed-by='listtab' fo:text-indent='-{style.hang}pt' "
             f"text:list-tab-stop-position='{style.hang + 9}pt' fo:margin-left='{style.hang + 9}pt'/>"
             f"</style:list-level-properties>")
    drop = "<style:drop-cap style:lines='3' style:length='1'/>" if style.drop_cap else ""
    columns = "<style:columns fo:column-count='2' fo:column-gap='20pt'/>" if style.columns == 2 else ""
    parts = []

    def paragraph(name, source):
        text = bold(html.escape(source), "<text:span text:style-name='B'>", "</text:span>")
        return f"<text:p text:style-name='{name}'>{text}</text:p>"

    for group in groups(document.blocks):
        kind = group[0].kind
        if kind == "row":
            rows = ["<table:table-row>" + "".join(f"<table:table-cell>{paragraph('L', cell)}</table:table-cell>"
                                                  for cell in row.cells) + "</table:table-row>" for row in group]
            parts.append("<table:table><table:table-column table:number-columns-repeated='4'/>" + "".join(rows)
                         + "</table:table>")
        elif is_list(group[0]):
            items = "".join(f"<text:list-item>{paragraph('L', block.text)}</text:list-item>" for block in group)
            parts.append(f"<text:list text:style-name='{'U' if kind == 'bullet' else 'N'}'>{items}</text:list>")
        else:
            parts += [paragraph(f"H{block.scale}" if kind == "heading" else "P", block.text) for block in group]
    spaces = " ".join(f"xmlns:{name}='urn:oasis:names:tc:opendocument:xmlns:{urn}:1.0'" for name, urn in (
        ("office", "office"), ("style", "style"), ("text", "text"), ("table", "table"), ("fo", "xsl-fo-compatible"),
        ("svg", "svg-compatible")))
    country = {"he": "IL", "ar": "EG"}.get(document.language, "US")
    return f"""<?xml version='1.0' encoding='UTF-8'?><office:document {spaces} office:version='1.3'
office:mimetype='application/vnd.oasis.opendocument.text'><office:font-face-decls>
<style:font-face style:name='F' svg:font-family='Liberation Serif'/>
<style:font-face style:name='A' svg:font-family='Noto Sans CJK SC'/><style:font-face style:name='C'
svg:font-family='{"Noto Naskh Arabic" if document.language == "ar" else "Liberation Serif"}'/></office:font-face-decls>
<office:styles><style:default-style style:family='paragraph'><style:text-properties {names} {font}
fo:language='en' fo:country='US' style:language-complex='{document.language}' style:country-complex='{country}'/>
</style:default-style></office:styles><office:automatic-styles>
<style:style style:name='P' style:family='paragraph'><style:paragraph-properties fo:text-align='{align}' {spacing}
fo:margin-bottom='{gap:.1f}pt' fo:text-indent='{0 if style.gap else 18}pt'>{drop}</style:paragraph-properties></style:style>
<style:style style:name='L' style:family='paragraph'><style:paragraph-properties fo:text-align='{align}' {spacing}
fo:margin-bottom='{gap / 2:.1f}pt'/></style:style><style:style style:name='B' style:family='text'>
<style:text-properties fo:font-weight='bold'/></style:style>{''.join(headings)}
<text:list-style style:name='U'><text:list-level-style-bullet text:level='1' text:bullet-char='•'>{label}
</text:list-level-style-bullet></text:list-style><text:list-style style:name='N'><text:list-level-style-number
text:level='1' style:num-format='1' style:num-suffix='.'>{label}</text:list-level-style-number></text:list-style>
<style:page-layout style:name='M'><style:page-layout-properties fo:page-width='{WIDTH}pt' fo:page-height='{HEIGHT}pt'
fo:margin='{MARGIN}pt' style:writing-mode='{mode}'>{columns}</style:page-layout-properties></style:page-layout>
</office:automatic-styles><office:master-styles><style:master-page style:name='Standard' style:page-layout-name='M'/>
</office:master-styles><office:body><office:text>{''.join(parts)}</office:text></office:body></office:document>"""


def office(document, path, folder):
    program = shutil.which("soffice")
    if not program:
        return None
    (folder / "in.fodt").write_text(open_document(document))
    run([program, "--headless", f"-env:UserInstallation={(folder.parent / 'office').as_uri()}", "--convert-to", "pdf",
         "--infilter=OpenDocument Text Flat XML", "in.fodt"], folder)
    shutil.move(folder / "in.pdf", path)
    return path


# Cairo and Pango, as simple programs use them.

def cairo(document, path, folder):
    try:
        import cairo as graphics
        import gi
        gi.require_version("Pango", "1.0")
        gi.require_version("PangoCairo", "1.0")
        from gi.repository import Pango, PangoCairo
    except (ImportError, ValueError):
        return None
    style = document.style
    if style.drop_cap or any(block.kind == "row" for block in document.blocks):
        return None
    surface = graphics.PDFSurface(str(path), WIDTH, HEIGHT)
    context = graphics.Context(surface)
    column_width = (WIDTH - 2 * MARGIN - 20 * (style.columns - 1)) / style.columns
    is_reversed = document.language in RIGHT_TO_LEFT
    column, y, late = 0, MARGIN, []

    def layout(markup, size, width):
        result = PangoCairo.create_layout(context)
        font = {"he": "DejaVu Sans", "ar": "Noto Naskh Arabic", "zh": "Noto Sans CJK SC", "ja": "Noto Sans CJK JP",
                "ko": "Noto Sans CJK KR"}.get(document.language, "DejaVu Serif")
        result.set_font_description(Pango.FontDescription.from_string(f"{font} {size * 0.75:.2f}"))
        result.set_width(round(width * Pango.SCALE))
        result.set_justify(style.justified and document.language not in WITHOUT_BLANKS)
        result.set_markup(markup, -1)
        return result

    def show(part, x, baseline):
        context.move_to(x, baseline)
        PangoCairo.show_layout_line(context, part)

    def next_column():
        nonlocal column, y
        column, y = column + 1, MARGIN
        if column == style.columns:
            for part, x, baseline in late:
                show(part, x, baseline)
            late.clear()
            column = 0
            context.show_page()

    for block in document.blocks:
        scale = block.scale if block.kind == "heading" else 1
        size = style.size * scale
        inset = style.hang if is_list(block) else 0
        markup = bold(html.escape(block.text), "<b>", "</b>")
        if block.kind == "heading":
            markup = f"<b>{markup}</b>" if style.bold_headings else markup
            y += style.heading_gap * size if y > MARGIN else 0
        text = layout(markup, size, column_width - inset)
        if block.kind == "paragraph" and not style.gap:
            text.set_indent(round(1.5 * size * Pango.SCALE))
        step = size * (1.2 if block.kind == "heading" else style.leading)
        for number, line in enumerate(text.get_lines_readonly()):
            if y + step > HEIGHT - MARGIN or (number == 0 and block.kind == "heading" and y + 4 * step > HEIGHT - MARGIN):
                next_column()
            place = column if not is_reversed else style.columns - 1 - column
            left = MARGIN + place * (column_width + 20)
            y += step
            offset = text.index_to_pos(line.start_index)
            begin = min(offset.x, offset.x + offset.width) / Pango.SCALE
            if is_reversed or document.language in RIGHT_TO_LEFT:
                begin = column_width - inset - line.get_extents()[1].width / Pango.SCALE
                begin -= text.get_indent() / Pango.SCALE if number == 0 else 0
            if number == 0 and inset:
                marker = layout("•" if block.kind == "bullet" else block.label, size, inset).get_line_readonly(0)
                marker_left = left + column_width - inset + 6 if is_reversed else left
                if style.markers_last:
                    late.append((marker, marker_left, y))
                else:
                    show(marker, marker_left, y)
            show(line, left + begin + (0 if is_reversed else inset), y)
        y += style.gap * style.size * (0.5 if is_list(block) else 1)
    for part, x, baseline in late:
        show(part, x, baseline)
    surface.finish()
    return path


# Scans: the pages of a finished PDF as pictures, a little turned and with grain.

def scan(source, path, folder, quarters=0):
    import cairo as graphics
    if not shutil.which("pdftoppm"):
        return None
    run(["pdftoppm", "-r", "300", "-gray", "-png", "-l", "2", str(source), "page"], folder)
    pages = sorted(folder.glob("page*.png"))
    surface = graphics.PDFSurface(str(path), WIDTH, HEIGHT)
    context = graphics.Context(surface)
    for number, picture in enumerate(pages):
        image = graphics.ImageSurface.create_from_png(str(picture))
        width, height = (WIDTH, HEIGHT) if quarters % 2 == 0 else (HEIGHT, WIDTH)
        surface.set_size(width, height)
        context.save()
        context.translate(width / 2, height / 2)
        context.rotate(quarters * 3.14159265 / 2 + 0.004 * (1 if number % 2 else -1))
        context.scale(WIDTH / image.get_width(), HEIGHT / image.get_height())
        context.set_source_surface(image, -image.get_width() / 2, -image.get_height() / 2)
        context.paint()
        context.restore()
        context.show_page()
    surface.finish()
    return path


PROGRAMS = {"groff": groff, "tex": tex, "browser": browser, "office": office, "cairo": cairo}


def write_all(documents, folder, tell):
    """Writes every document with every program; yields name, document and path."""
    missing = set(PROGRAMS)
    with tempfile.TemporaryDirectory() as scratch:
        for document in documents:
            for program, write in PROGRAMS.items():
                path = folder / f"{document.name}-{program}.pdf"
                work = pathlib.Path(tempfile.mkdtemp(dir=scratch))
                try:
                    written = write(document, path, work)
                except (subprocess.CalledProcessError, subprocess.TimeoutExpired, FileNotFoundError) as error:
                    tell(f"{path.name} could not be made: {error}")
                    continue
                if written:
                    missing.discard(program)
                    yield document, path
    if missing:
        tell(f"not installed, left out: {', '.join(sorted(missing))}")

"""Documents with known text: what they say, and the looks they are given."""
import dataclasses
import random

from .sentences import HEADINGS, SENTENCES, THINGS

WITHOUT_BLANKS = ("zh", "ja")
RIGHT_TO_LEFT = ("he", "ar")


@dataclasses.dataclass
class Block:
    kind: str  # heading, paragraph, bullet, item or row
    text: str  # with stars around bold words; of an item without its number
    scale: float = 1  # of a heading, in body sizes
    label: str = ""  # of an item, such as "3."
    cells: tuple = ()

    def plain(self):
        text = " ".join(self.cells) if self.cells else self.text
        return (self.label + " " + text if self.label else text).replace("*", "")


@dataclasses.dataclass
class Style:
    size: float = 11
    leading: float = 1.25
    gap: float = 0.6  # between paragraphs, in lines; without one they begin with an indent
    columns: int = 1
    justified: bool = True
    bold_headings: bool = True
    heading_gap: float = 0.8
    hang: float = 18  # points from marker to text
    drop_cap: bool = False
    markers_last: bool = False


@dataclasses.dataclass
class Document:
    name: str
    language: str
    style: Style
    blocks: list


class Author:
    def __init__(self, language, name):
        self.language = language
        self.random = random.Random(name)
        self.headings = list(HEADINGS[language])
        self.random.shuffle(self.headings)
        self.pool = []

    def sentence(self):
        if not self.pool:
            self.pool = list(SENTENCES[self.language])
            self.random.shuffle(self.pool)
        return self.pool.pop().format(thing=self.random.choice(THINGS.get(self.language, [""])))

    def sentences(self, fewest, most):
        blank = "" if self.language in WITHOUT_BLANKS else " "
        return blank.join(self.sentence() for _ in range(self.random.randint(fewest, most)))

    def heading(self, scale):
        self.headings.append(self.headings.pop(0))
        return Block("heading", self.headings[-1], scale)

    def short(self):
        """A few words, as in a list of things."""
        sentence = self.sentence().replace("*", "")
        if self.language in WITHOUT_BLANKS:
            return sentence[:self.random.randint(5, 9)].rstrip("，、。")
        return " ".join(sentence.split()[:self.random.randint(2, 6)]).strip(".,;:“”()?").replace("(", "")

    def items(self, kind, number, is_short):
        return [Block(kind, self.short() if is_short else self.sentences(1, 2),
                      label=f"{i + 1}." if kind == "item" else "") for i in range(number)]

    def table(self, rows):
        return [Block("row", "", cells=(self.short().split()[0], str(self.random.randint(10, 99)),
                                        str(self.random.randint(100, 999)), self.short())) for _ in range(rows)]

    def document(self, name, style, chapters=4, scales=(2, 1.4), features=("bullet", "item")):
        blocks = [self.heading(scales[0])]
        for chapter in range(chapters):
            blocks.append(self.heading(scales[1 + chapter % (len(scales) - 1)]))
            blocks += [Block("paragraph", self.sentences(2, 6)) for _ in range(self.random.randint(1, 3))]
            for feature in features:
                if feature == "row":
                    blocks += self.table(5)
                else:
                    blocks += self.items(feature, self.random.randint(2, 5), self.random.random() < 0.4)
                blocks.append(Block("paragraph", self.sentences(2, 5)))
        return Document(name, self.language, style, blocks)


#: A name, the language, the looks and the contents.
LOOKS = [
    ("plain", "en", Style(), {}),
    ("bold-body", "en", Style(gap=0, heading_gap=0.3), {"scales": (1.6, 1)}),
    ("little-larger", "en", Style(size=10, heading_gap=0.2), {"scales": (2, 1.15, 1.4)}),
    ("glued", "en", Style(gap=0.3, heading_gap=0.1, leading=1.4), {"scales": (1.8, 1.1, 1)}),
    ("double", "en", Style(leading=2, gap=0, size=12), {"scales": (1.5, 1), "chapters": 3}),
    ("indents", "en", Style(gap=0, justified=False), {"scales": (2, 1.35, 1), "features": ()}),
    ("half-inch", "en", Style(hang=36), {}),
    ("columns", "en", Style(columns=2, size=9.5, gap=0), {"scales": (1.7, 1.2), "chapters": 7, "features": ("bullet",)}),
    ("letter", "en", Style(), {"chapters": 2}),
    ("letter-columns", "en", Style(columns=2, gap=0), {"chapters": 3, "features": ("bullet",)}),
    ("columns-items", "en", Style(columns=2, size=10, gap=0.4), {"chapters": 6}),
    ("table", "en", Style(), {"features": ("row",)}),
    ("drop-cap", "en", Style(drop_cap=True, gap=0), {"features": ()}),
    ("markers", "en", Style(markers_last=True), {}),
    ("german", "de", Style(gap=0), {"scales": (1.7, 1.44, 1.2)}),
    ("french", "fr", Style(), {"scales": (1.7, 1.44)}),
    ("hebrew", "he", Style(), {}),
    ("hebrew-indents", "he", Style(gap=0, size=13, justified=False), {"scales": (1.6, 1)}),
    ("arabic", "ar", Style(size=13, leading=1.5), {}),
    ("arabic-columns", "ar", Style(columns=2, size=12, leading=1.5), {"features": ("bullet",)}),
    ("chinese", "zh", Style(), {}),
    ("japanese", "ja", Style(leading=1.5, gap=0), {"scales": (1.8, 1.1)}),
    ("korean", "ko", Style(), {}),
]


def all_documents():
    for name, language, style, contents in LOOKS:
        yield Author(language, name).document(name, style, **contents)

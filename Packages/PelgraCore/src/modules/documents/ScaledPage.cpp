#include "ScaledPage.h"

#include <cmath>

namespace Pelgra::Documents {

namespace {

/// The quarter turn and scale of a page's transform, without its offset.
QPDFMatrix linearPart(const QPDFMatrix& matrix)
{
    return {matrix.a, matrix.b, matrix.c, matrix.d, 0, 0};
}

/// The one, then the other.
QPDFMatrix product(const QPDFMatrix& first, const QPDFMatrix& second)
{
    QPDFMatrix result = second;
    result.concat(first);
    return result;
}

double scaleOf(const QPDFMatrix& matrix)
{
    return std::sqrt(std::abs(matrix.a * matrix.d - matrix.b * matrix.c));
}

/// Pairs of coordinates; anything else in the array stays.
Object movedPoints(Object array, const QPDFMatrix& matrix)
{
    std::vector<Object> items = itemsOf(array);
    for (std::size_t index = 0; index + 1 < items.size(); index += 2) {
        const auto x = numberOf(items[index]);
        const auto y = numberOf(items[index + 1]);
        if (!x || !y)
            continue;
        double newX = 0;
        double newY = 0;
        matrix.transform(*x, *y, newX, newY);
        const std::vector<Object> moved = itemsOf(arrayOf({newX, newY}));
        items[index] = moved[0];
        items[index + 1] = moved[1];
    }
    return Object::newArray(items);
}

void movePoints(Object annotation, const QPDFMatrix& matrix)
{
    for (const char* const key : {"/QuadPoints", "/Vertices", "/L", "/CL"}) {
        if (Object points = valueOf(annotation, key); points.isArray())
            annotation.replaceKey(key, movedPoints(points, matrix));
    }
    for (const char* const key : {"/InkList", "/Path"}) {
        Object lines = valueOf(annotation, key);
        if (!lines.isArray())
            continue;
        std::vector<Object> moved;
        for (const Object& line : itemsOf(lines))
            moved.push_back(movedPoints(line, matrix));
        annotation.replaceKey(key, Object::newArray(moved));
    }
}

PageBox movedBox(const PageBox& box, const QPDFMatrix& matrix)
{
    const auto moved = matrix.transformRectangle({box.left, box.bottom, box.right, box.top});
    return {moved.llx, moved.lly, moved.urx, moved.ury};
}

/// Whether the annotation stays upright on a turned page.
bool staysUpright(Object annotation)
{
    constexpr long long noRotate = 1 << 4;
    return (integerOf(valueOf(annotation, "/F")).value_or(0) & noRotate) != 0;
}

/// From where the annotation was to where it lies on the scaled page. One that does not turn with its page is anchored
/// at its upper left corner, as readers show it.
QPDFMatrix matrixFor(const PageBox& box, const PlacedPage& page, bool isUpright)
{
    if (!isUpright)
        return *page.transform;
    double x = 0;
    double y = 0;
    page.transform->transform(box.left, box.top, x, y);
    const double scale = scaleOf(*page.transform);
    return {scale, 0, 0, scale, x - box.left * scale, y - box.top * scale};
}

/// Insets of a shape inside the rectangle of its annotation, on the sides where they are after the turn.
void moveInsets(Object annotation, const PageBox& box, const QPDFMatrix& matrix)
{
    const auto insets = rectangleOf(valueOf(annotation, "/RD"));
    if (!insets)
        return;
    const PageBox inner{box.left + (*insets)[0], box.bottom + (*insets)[1], box.right - (*insets)[2],
                        box.top - (*insets)[3]};
    const PageBox outerMoved = movedBox(box, matrix);
    const PageBox innerMoved = movedBox(inner, matrix);
    annotation.replaceKey("/RD",
                          arrayOf({innerMoved.left - outerMoved.left, innerMoved.bottom - outerMoved.bottom,
                                   outerMoved.right - innerMoved.right, outerMoved.top - innerMoved.top}));
}

void scaleBorder(Object annotation, double scale)
{
    if (Object style = dictionaryOf(annotation, "/BS"); !style.isNull()) {
        Object scaled = style.shallowCopy();
        if (const auto width = numberOf(valueOf(style, "/W")))
            scaled.replaceKey("/W", arrayOf({*width * scale}).getArrayItem(0));
        annotation.replaceKey("/BS", scaled);
    }
    if (Object border = valueOf(annotation, "/Border"); border.isArray()) {
        std::vector<Object> items = itemsOf(border);
        for (Object& item : items) {
            if (const auto number = numberOf(item))
                item = arrayOf({*number * scale}).getArrayItem(0);
        }
        annotation.replaceKey("/Border", Object::newArray(items));
    }
}

/// The size in "… /Font size Tf …"; 0, which lets the reader choose, stays.
void scaleFontSize(Object annotation, double scale)
{
    Object appearance = valueOf(annotation, "/DA");
    if (!appearance.isString())
        return;
    std::string text = appearance.getStringValue();
    const std::size_t operatorAt = text.find(" Tf");
    if (operatorAt == std::string::npos || operatorAt == 0)
        return;
    const std::size_t numberEnd = text.find_last_not_of(' ', operatorAt);
    const std::size_t before = text.find_last_of(" \t\r\n", numberEnd);
    if (numberEnd == std::string::npos || before == std::string::npos)
        return;
    const std::string number = text.substr(before + 1, numberEnd - before);
    char* end = nullptr;
    const double size = std::strtod(number.c_str(), &end);
    if (end != number.c_str() + number.size() || !(size > 0) || size > 1e6)
        return;
    text.replace(before + 1, number.size(), arrayOf({size * scale}).getArrayItem(0).unparse());
    annotation.replaceKey("/DA", Object::newString(text));
}

Object turnedAppearance(Object appearance, const QPDFMatrix& matrix)
{
    Object copy = appearance.copyStream();
    if (copy.getDict().hasKey("/Filter"))
        copy.setFilterOnWrite(false);
    Object own = valueOf(appearance, "/Matrix");
    const QPDFMatrix ownMatrix = own.isMatrix() ? QPDFMatrix(own.getArrayAsMatrix()) : QPDFMatrix();
    const QPDFMatrix turned = product(ownMatrix, linearPart(matrix));
    copy.getDict().replaceKey("/Matrix", arrayOf({turned.a, turned.b, turned.c, turned.d, turned.e, turned.f}));
    return copy;
}

/// Readers fit an appearance into its rectangle by scaling and moving it, so only a turn has to be written down.
void turnAppearances(Object annotation, const QPDFMatrix& matrix)
{
    Object appearances = dictionaryOf(annotation, "/AP");
    if (appearances.isNull())
        return;
    Object turned = Object::newDictionary();
    for (const auto& [event, value] : appearances.getDictAsMap()) {
        Object entry = value;
        if (entry.isStream()) {
            entry = turnedAppearance(entry, matrix);
        } else if (entry.isDictionary()) {
            Object states = Object::newDictionary();
            for (const auto& [state, stream] : entry.getDictAsMap())
                states.replaceKey(state, Object(stream).isStream() ? turnedAppearance(stream, matrix) : stream);
            entry = states;
        }
        turned.replaceKey(event, entry);
    }
    annotation.replaceKey("/AP", turned);
}

void turnCharacteristics(Object annotation, int foldedRotation)
{
    Object characteristics = dictionaryOf(annotation, "/MK");
    if (characteristics.isNull() && !isNamed(annotation, "/Subtype", "/Widget"))
        return;
    Object turned = characteristics.isNull() ? Object::newDictionary() : characteristics.shallowCopy();
    const long long rotation = integerOf(valueOf(characteristics, "/R")).value_or(0);
    turned.replaceKey("/R", Object::newInteger(((rotation - foldedRotation) % 360 + 360) % 360));
    annotation.replaceKey("/MK", turned);
}

} // namespace

QPDFMatrix scalingMatrix(const PageBox& box, int quarterTurn, double scale)
{
    const double left = box.left;
    const double bottom = box.bottom;
    switch (quarterTurn) {
    case 90:
        return {0, -scale, scale, 0, -bottom * scale, box.right * scale};
    case 180:
        return {-scale, 0, 0, -scale, box.right * scale, box.top * scale};
    case 270:
        return {0, scale, -scale, 0, box.top * scale, -left * scale};
    default:
        return {scale, 0, 0, scale, -left * scale, -bottom * scale};
    }
}

void scalePage(PlacedPage& page, Object form, const PageBox& box, int quarterTurn, double scale, QPDF& output)
{
    page.transform = scalingMatrix(box, quarterTurn, scale);
    page.foldedRotation = quarterTurn;
    page.form = form;
    Object dictionary = form.getDict();
    dictionary.replaceKey("/Type", Object::newName("/XObject"));
    dictionary.replaceKey("/Subtype", Object::newName("/Form"));
    dictionary.replaceKey("/BBox", arrayOf({box.left, box.bottom, box.right, box.top}));
    dictionary.replaceKey("/Resources", valueOf(page.page, "/Resources"));
    for (const char* const key :
         {"/CropBox", "/BleedBox", "/TrimBox", "/ArtBox", "/Rotate", "/UserUnit", "/Thumb", "/VP"})
        page.page.removeKey(key);
    const PageSize size = turnedSize(box, quarterTurn);
    page.page.replaceKey("/MediaBox", arrayOf({0, 0, size.width * scale, size.height * scale}));
    Object forms = Object::newDictionary();
    forms.replaceKey("/Page", form);
    Object resources = Object::newDictionary();
    resources.replaceKey("/XObject", forms);
    page.page.replaceKey("/Resources", resources);
    page.page.replaceKey("/Contents",
                         Object::newStream(&output, "q " + page.transform->unparse() + " cm /Page Do Q\n"));
}

void moveAnnotation(Object annotation, const PlacedPage& page)
{
    const auto corners = rectangleOf(valueOf(annotation, "/Rect"));
    if (!corners)
        return;
    const PageBox box = standardised(*corners);
    const bool isUpright = staysUpright(annotation);
    const QPDFMatrix matrix = matrixFor(box, page, isUpright);
    const PageBox moved = movedBox(box, matrix);
    moveInsets(annotation, box, matrix);
    annotation.replaceKey("/Rect", arrayOf({moved.left, moved.bottom, moved.right, moved.top}));
    movePoints(annotation, matrix);
    scaleBorder(annotation, scaleOf(matrix));
    scaleFontSize(annotation, scaleOf(matrix));
    if (page.foldedRotation != 0 && !isUpright) {
        turnAppearances(annotation, matrix);
        turnCharacteristics(annotation, page.foldedRotation);
    }
}

} // namespace Pelgra::Documents

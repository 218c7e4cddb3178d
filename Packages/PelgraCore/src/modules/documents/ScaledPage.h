#pragma once

#include "Input.h"
#include "modules/PageGeometry.h"

namespace Pelgra::Documents {

/// From a page's user space to a new one of the displayed size times the scale: the visible box moves to the origin
/// and the quarter turn becomes part of the drawing.
QPDFMatrix scalingMatrix(const PageBox& box, int quarterTurn, double scale);

/// Makes a copied page (with its own resources and boxes) show the same, scaled and unrotated: its content becomes the
/// form, which, unlike a matrix put before the content, also scales patterns and contains whatever state the content
/// leaves behind. `form` is a stream of the output with the page's content and nothing else. `page.transform` and
/// `page.foldedRotation` are set. Annotations are moved separately.
void scalePage(PlacedPage& page, Object form, const PageBox& box, int quarterTurn, double scale, QPDF& output);

/// Moves an annotation of the output to where the page's transform puts it, with its appearance.
void moveAnnotation(Object annotation, const PlacedPage& page);

} // namespace Pelgra::Documents

#pragma once

#include "modules/PageGeometry.h"
#include "Objects.h"

namespace Pelgra::Documents {

/// A page as the page tree holds it, with the attributes it inherits (null where there are none).
struct SourcePage {
    Object object;
    Object resources;
    Object mediaBox;
    Object cropBox;
    Object rotate;

    /// In degrees, as the file says; 0 where it says nothing.
    long long rotation() const;
    /// What readers show of the page before turning it.
    PageBox box() const;
};

/// The pages in reading order. Each node of the tree is entered once, so cyclic and deep trees end; counts are ignored.
/// Where there is no page tree at all, the page objects of the file in their order.
std::vector<SourcePage> walkPageTree(QPDF& document);

} // namespace Pelgra::Documents

#pragma once

#include "modules/PageGeometry.h"
#include "modules/PageLosses.h"
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

/// The pages of a document and what it has lost of them.
struct PageTree {
    std::vector<SourcePage> pages; ///< in reading order
    PageLosses losses;
};

/// Each node of the tree is entered once, so cyclic and deep trees end; a count counts only where it tells of pages
/// that are not there. Where there is no page tree at all, the page objects of the file in their order. In a document
/// whose cross references had to be rebuilt, each page is looked at for what is gone from it.
PageTree walkPageTree(QPDF& document);

} // namespace Pelgra::Documents

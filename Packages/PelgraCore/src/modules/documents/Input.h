#pragma once

#include "ObjectCopier.h"
#include "SourceDocument.h"

#include <qpdf/QPDFMatrix.hh>

#include <set>

namespace Pelgra::Documents {

/// A page of the output.
struct PlacedPage {
    Object page; ///< in the output
    std::size_t sourceIndex = 0;
    /// From the source page's user space to this page's, where the page was scaled.
    std::optional<QPDFMatrix> transform;
    /// The stream that holds the content of a scaled page, and with it what its structure refers to; else null.
    Object form = Object::newNull();
    /// Degrees clockwise that have become part of the transform.
    int foldedRotation = 0;
    /// What stands for the page, its annotations and fields, when it is not the first copy of its source page.
    ObjectMap duplicatePlaces;
    bool isDuplicate = false;
};

/// One input: a source with the pages taken from it. A file given twice makes two inputs of one source,
/// which share its copied objects but not its pages, annotations and fields.
struct Input {
    Input(SourceDocument& document, ObjectCopier& shared)
        : source(document)
        , copier(shared)
        , sharedAnnotationsLeft(leastSharedAnnotations + document.size() / 4)
    {
    }

    /// The first copy of a source page, else null.
    PlacedPage* firstCopyOf(std::size_t sourceIndex);

    /// The places that count for a page: its own first, then those of the input.
    std::vector<const ObjectMap*> placesFor(const PlacedPage& page) const;
    ObjectMap& placesToFillFor(PlacedPage& page) { return page.isDuplicate ? page.duplicatePlaces : places; }

    /// Whether the pages are exactly the source's, each once and in order.
    bool isComplete() const;

    /// The moved number of a key of the structure tree, or null where the page or object has no structure here.
    Object structureKey(const PlacedPage& page, Object key) const;

    SourceDocument& source;
    ObjectCopier& copier;
    /// Added to the keys of the source's structure tree; absent where its structure is not copied.
    std::optional<long long> structureOffset;
    ObjectMap places;
    std::vector<PlacedPage> pages; ///< in output order; never resized once links are being made
    std::map<std::size_t, std::size_t> firstCopies; ///< source index to index in pages
    /// Pages may share one list of annotations, each of which is then placed on every one of them: a file of a few
    /// kilobytes could ask for any number. No more than these are placed.
    std::uint64_t sharedAnnotationsLeft;
    std::set<QPDFObjGen> annotationLists; ///< those read already

private:
    static constexpr std::uint64_t leastSharedAnnotations = 200'000;
};

} // namespace Pelgra::Documents

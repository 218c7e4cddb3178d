#pragma once

#include "files/UniqueDescriptor.h"
#include "modules/PageGeometry.h"
#include "modules/PageLosses.h"
#include "WorkAccount.h"

#include <filesystem>
#include <memory>

#include <mupdf/fitz.h>
#include <mupdf/pdf.h>

/// The one place that meets MuPDF. It fails by longjmp: every fz_try stands in a noexcept function whose locals need no
/// destructor, and always in braces, since it is several statements.
namespace Pelgra::Rendering {

struct ContextDeleter {
    void operator()(fz_context* context) const { fz_drop_context(context); }
};
using ContextHandle = std::unique_ptr<fz_context, ContextDeleter>;

struct PageDeleter {
    fz_context* context = nullptr;
    void operator()(pdf_page* page) const { fz_drop_page(context, &page->super); }
};
/// A loaded page; must be gone before its document. `&page->super` is the fz_page.
using PageHandle = std::unique_ptr<pdf_page, PageDeleter>;

/// Where a page lies: the visible box in points of the page's own coordinates, and its turn.
struct PageGeometry {
    PageBox box;
    int rotation = 0; ///< 0, 90, 180 or 270 degrees clockwise

    PageSize displayedSize() const { return turnedSize(box, rotation); }
};

/// One document with a context of its own. Used by one thread at a time; several threads open one each.
class MuPDFDocument {
public:
    /// Null for what is no document, needs a password, or has none of the pages it says it has. Broken cross references
    /// are repaired. Throws EngineError::unreadable for what cannot be opened or is too large.
    static std::unique_ptr<MuPDFDocument> open(const std::filesystem::path& file, int pagesNeeded);
    ~MuPDFDocument();
    MuPDFDocument(const MuPDFDocument&) = delete;
    MuPDFDocument& operator=(const MuPDFDocument&) = delete;

    fz_context* context() const { return m_context.get(); }
    WorkAccount& account() { return m_account; }

    /// The leaves of the page tree that were really found, no more than needed; what the tree claims to hold does not
    /// count.
    int pageCount() const { return m_pageCount; }

    /// What the document has lost of its pages, if all of them were looked for.
    PageLosses losses();

    /// Whether the file has become shorter since it was opened, and something was looked for where it ends now.
    bool isCutShort() const { return m_isCutShort; }

    /// Null where there is no such page or it cannot be loaded. The boxes of the page (in memory) are replaced by
    /// the valid ones of geometryOf().
    PageHandle loadPage(int index);

    /// The geometry of a page that was loaded here.
    PageGeometry geometryOf(const PageHandle& page) const;

private:
    MuPDFDocument() = default;
    bool openStream();
    bool readDocument() noexcept;
    int readFromFile(fz_stream* stream);
    void seekInFile(fz_stream* stream, std::int64_t offset, int whence);

    static constexpr std::size_t bufferSize = std::size_t{16} << 10;

    // In this order, since each needs those before it until it is gone.
    WorkAccount m_account;
    UniqueDescriptor m_file;
    unsigned char m_buffer[bufferSize];
    ContextHandle m_context;
    pdf_document* m_document = nullptr;
    int m_pageCount = 0;
    std::uint64_t m_fileSize = 0; ///< when it was opened
    bool m_isCutShort = false;
    bool m_endsObject = false; ///< the file's last object is ended for it
    PageLosses m_losses; ///< without the incomplete pages
};

} // namespace Pelgra::Rendering

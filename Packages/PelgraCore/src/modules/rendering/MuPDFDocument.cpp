#include "MuPDFDocument.h"

#include "files/FileBytes.h"
#include "MuPDFVersion.h"
#include "PageTreeRepair.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace Pelgra::Rendering {

namespace {

/// Decoded images, fonts and glyphs kept for further pages, in bytes.
constexpr std::size_t storeLimit = std::size_t{64} << 20;
constexpr int antialiasingBits = 8;

/// What is read behind the end of a file that was cut off: it ends strings of either kind, arrays and the object. A
/// file without a trailer would be given up as a whole for the sake of the one object that its end cuts off.
constexpr std::string_view endOfObject = "))))))))))))))))>]]]]]]]]]]]]]]]]\nendobj\n";

void ignoreMessage(void*, const char*)
{
}

/// The decimal number in the file. MuPDF keeps single precision; 419.04 points at 300 dpi are 1746 pixels only by the
/// digits in the file, not by what single precision makes of them.
double exactNumber(fz_context* context, pdf_obj* number)
{
    const float value = pdf_to_real(context, number);
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    double exact = 0;
    std::from_chars(digits, end, exact);
    return exact;
}

/// A box of a page, its own or inherited; none where it does not have four numbers.
std::optional<PageBox> boxOf(fz_context* context, pdf_obj* page, pdf_obj* key)
{
    pdf_obj* const array = pdf_dict_get_inheritable(context, page, key);
    if (pdf_array_len(context, array) < 4)
        return std::nullopt;
    std::array<double, 4> corners{};
    for (int index = 0; index < 4; ++index) {
        double& corner = corners[static_cast<std::size_t>(index)];
        corner = exactNumber(context, pdf_array_get(context, array, index));
        if (!std::isfinite(corner))
            return std::nullopt;
    }
    return standardised(corners);
}

PageGeometry readGeometry(fz_context* context, pdf_obj* page)
{
    const PageBox box = visibleBox(boxOf(context, page, PDF_NAME(MediaBox)), boxOf(context, page, PDF_NAME(CropBox)));
    const long long degrees = pdf_to_int64(context, pdf_dict_get_inheritable(context, page, PDF_NAME(Rotate)));
    return {box, snappedRotation(degrees)};
}

bool isSameBox(const fz_rect& a, const fz_rect& b)
{
    constexpr float tolerance = 0.001F;
    return std::abs(a.x0 - b.x0) <= tolerance && std::abs(a.y0 - b.y0) <= tolerance
        && std::abs(a.x1 - b.x1) <= tolerance && std::abs(a.y1 - b.y1) <= tolerance;
}

/// Where the library would clip to another box, puts the valid one in place of whatever the page has. It would also
/// multiply by the user unit, which a displayed size does not count.
void settleBoxes(fz_context* context, pdf_obj* page)
{
    const PageGeometry geometry = readGeometry(context, page);
    const fz_rect box = {static_cast<float>(geometry.box.left), static_cast<float>(geometry.box.bottom),
                         static_cast<float>(geometry.box.right), static_cast<float>(geometry.box.top)};
    fz_rect libraryBox;
    fz_matrix libraryMatrix;
    pdf_page_obj_transform(context, page, &libraryBox, &libraryMatrix);
    if (isSameBox(box, libraryBox) && !pdf_dict_get(context, page, PDF_NAME(UserUnit)))
        return;
    pdf_dict_put_rect(context, page, PDF_NAME(MediaBox), box);
    pdf_dict_put_rect(context, page, PDF_NAME(CropBox), box);
    pdf_dict_put_int(context, page, PDF_NAME(Rotate), geometry.rotation);
    pdf_dict_del(context, page, PDF_NAME(UserUnit));
}

/// The library draws a flag, "SIGN", in place of fields that nobody has signed yet. What it takes for signed it draws
/// as the document says.
void takeFieldsForSigned(fz_context* context, pdf_obj* page) noexcept
{
    fz_try(context)
    {
        pdf_obj* const annotations = pdf_dict_get(context, page, PDF_NAME(Annots));
        const int count = pdf_array_len(context, annotations);
        for (int index = 0; index < count; ++index) {
            pdf_obj* const field = pdf_array_get(context, annotations, index);
            if (pdf_name_eq(context, pdf_dict_get(context, field, PDF_NAME(Subtype)), PDF_NAME(Widget))
                && pdf_name_eq(context, pdf_dict_get_inheritable(context, field, PDF_NAME(FT)), PDF_NAME(Sig)))
                pdf_dict_put_dict(context, field, PDF_NAME(V), 0);
        }
    }
    fz_catch(context)
    {
        // A field among its own ancestors; those behind it may get their flags.
    }
}

pdf_page* tryLoadPage(fz_context* context, pdf_document* document, int index) noexcept
{
    pdf_page* page = nullptr;
    fz_var(page);
    fz_try(context)
    {
        lookForPagesSingly(document);
        pdf_obj* const object = pdf_lookup_page_obj(context, document, index);
        if (pdf_is_dict(context, object)) {
            settleBoxes(context, object);
            takeFieldsForSigned(context, object);
            page = pdf_load_page(context, document, index);
        }
    }
    fz_catch(context)
    {
        return nullptr;
    }
    return page;
}

PageGeometry tryGeometry(fz_context* context, pdf_obj* page) noexcept
{
    PageGeometry geometry;
    fz_var(geometry);
    fz_try(context)
    {
        geometry = readGeometry(context, page);
    }
    fz_catch(context)
    {
        return {};
    }
    return geometry;
}

/// Whether the key that the library last worked out decrypts what the owner of a document may withhold, as it does when
/// it is the right one.
bool isKeyRight(fz_context* context, pdf_document* document)
{
    constexpr int keyBits = 256;
    constexpr std::size_t blockSize = 16;
    pdf_obj* const lock = pdf_dict_get(context, pdf_trailer(context, document), PDF_NAME(Encrypt));
    std::size_t size = 0;
    const char* const permissions = pdf_to_string(context, pdf_dict_gets(context, lock, "Perms"), &size);
    const unsigned char* const key = pdf_crypt_key(context, document->crypt);
    fz_aes aes;
    if (size != blockSize || pdf_crypt_length(context, document->crypt) != keyBits
        || fz_aes_setkey_dec(&aes, key, keyBits) != 0)
        return false;
    unsigned char start[blockSize] = {};
    unsigned char plain[blockSize] = {};
    fz_aes_crypt_cbc(&aes, FZ_AES_DECRYPT, blockSize, start, reinterpret_cast<const unsigned char*>(permissions),
                     plain);
    return std::memcmp(plain + 9, "adb", 3) == 0;
}

/// The library refuses an empty password for owners unless anyone else's is empty as well. With AES-256 it has worked
/// out the key all the same.
bool isLocked(fz_context* context, pdf_document* document)
{
    return pdf_needs_password(context, document) && !pdf_authenticate_password(context, document, "")
        && !isKeyRight(context, document);
}

} // namespace

std::unique_ptr<MuPDFDocument> MuPDFDocument::open(const std::filesystem::path& file, int pagesNeeded)
{
    std::unique_ptr<MuPDFDocument> document(new MuPDFDocument);
    document->m_file = openDocument(file);
    document->m_fileSize = fileSize(document->m_file);
    document->m_context.reset(fz_new_context(document->m_account.allocator(), nullptr, storeLimit));
    if (!document->m_context)
        return nullptr;
    const Work work(document->m_account);
    if (!document->readDocument()) {
        if (document->m_document) // which is locked
            return nullptr;
        document->m_endsObject = true;
        if (!document->readDocument())
            return nullptr;
    }
    const FoundPages found = settlePageTree(document->context(), document->m_document, pagesNeeded);
    if (found.count < 0)
        return nullptr;
    document->m_pageCount = found.count;
    document->m_losses.isListLost = found.isListLost;
    document->m_losses.missing = missingPages(found.claimed, static_cast<std::size_t>(found.count),
                                              static_cast<std::size_t>(found.emptyEntries));
    return found.count > 0 || !document->m_losses.any() ? std::move(document) : nullptr;
}

PageLosses MuPDFDocument::losses()
{
    const Work work(m_account);
    PageLosses losses = m_losses;
    struct stat status{};
    if (!pdf_was_repaired(context(), m_document) || fstat(m_file.get(), &status) != 0)
        return losses;
    for (int index = 0; index < m_pageCount; ++index) {
        if (hasLostSomething(context(), m_document, index, status.st_size))
            losses.incomplete.push_back(index);
    }
    return losses;
}

MuPDFDocument::~MuPDFDocument()
{
    if (m_document)
        pdf_drop_document(context(), m_document);
}

bool MuPDFDocument::readDocument() noexcept
{
    fz_context* const context = m_context.get();
    fz_stream* stream = nullptr;
    fz_var(stream);
    fz_try(context)
    {
        fz_set_warning_callback(context, ignoreMessage, nullptr);
        fz_set_error_callback(context, ignoreMessage, nullptr);
        fz_set_aa_level(context, antialiasingBits);
        stream = fz_new_stream(
            context, this,
            [](fz_context*, fz_stream* self, std::size_t) {
                return static_cast<MuPDFDocument*>(self->state)->readFromFile(self);
            },
            nullptr);
        stream->seek = [](fz_context*, fz_stream* self, std::int64_t offset, int whence) {
            static_cast<MuPDFDocument*>(self->state)->seekInFile(self, offset, whence);
        };
        m_document = pdf_open_document_with_stream(context, stream);
        if (isLocked(context, m_document))
            fz_throw(context, FZ_ERROR_GENERIC, "locked");
    }
    fz_always(context)
    {
        fz_drop_stream(context, stream);
    }
    fz_catch(context)
    {
        return false;
    }
    return true;
}

int MuPDFDocument::readFromFile(fz_stream* stream)
{
    ssize_t count = 0;
    do
        count = pread(m_file.get(), m_buffer, bufferSize, stream->pos);
    while (count < 0 && errno == EINTR);
    if (count == 0 && m_endsObject && static_cast<std::uint64_t>(stream->pos) == m_fileSize)
        count = static_cast<ssize_t>(endOfObject.copy(reinterpret_cast<char*>(m_buffer), bufferSize));
    if (count <= 0 && static_cast<std::uint64_t>(stream->pos) < m_fileSize)
        m_isCutShort = true;
    if (count <= 0)
        return -1;
    stream->rp = m_buffer;
    stream->wp = m_buffer + count;
    stream->pos += count;
    return *stream->rp++;
}

void MuPDFDocument::seekInFile(fz_stream* stream, std::int64_t offset, int whence)
{
    if (whence == SEEK_END) {
        struct stat status{};
        offset += fstat(m_file.get(), &status) == 0 ? status.st_size : 0;
    }
    offset = std::max<std::int64_t>(offset, 0);
    // The library jumps between objects that often lie close together: what is in the buffer is not read again.
    const std::int64_t bufferStart = stream->wp ? stream->pos - (stream->wp - m_buffer) : 0;
    if (stream->wp && offset >= bufferStart && offset < stream->pos) {
        stream->rp = m_buffer + (offset - bufferStart);
        return;
    }
    stream->pos = offset;
    stream->rp = stream->wp = m_buffer;
}

PageHandle MuPDFDocument::loadPage(int index)
{
    if (index < 0 || index >= m_pageCount)
        return PageHandle(nullptr, PageDeleter{context()});
    return PageHandle(tryLoadPage(context(), m_document, index), PageDeleter{context()});
}

PageGeometry MuPDFDocument::geometryOf(const PageHandle& page) const
{
    return page ? tryGeometry(context(), page->obj) : PageGeometry{};
}

} // namespace Pelgra::Rendering

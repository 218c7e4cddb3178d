#include "ProfileColors.h"

#include "modules/rendering/WorkAccount.h"
#include "Override.h"
#include "pixels/GrayPixels.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <mupdf/pdf.h>

/// Debian builds MuPDF without colour management, which leaves profiles unread. This function stands between those who
/// want a colour space and the library's own, and gives one with a profile a name by which its conversion is found.
/// Made for MuPDF 1.21 and 1.25, which look for the base of a space in their store before they make it.
PELGRA_DECLARE_OVERRIDE(pdf_load_colorspace, decltype(pdf_load_colorspace))

namespace Pelgra::Rendering {

namespace {

constexpr char namePrefix[] = "profile ";
constexpr std::size_t digestSize = 16;
using SpaceName = std::array<char, sizeof namePrefix + 2 * digestSize + 1>;
/// Spaces that are based on others are followed only this deep.
constexpr int depthLimit = 4;
constexpr int storedSize = 1000; // as the library counts a space

/// The conversions in use by any document, by the names of their spaces, and the names of profiles that need none.
class ConversionTable {
public:
    static ConversionTable& shared()
    {
        static ConversionTable table;
        return table;
    }

    std::shared_ptr<const ProfileConversion> find(const std::string& name)
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_conversions.find(name);
        return found == m_conversions.end() ? nullptr : found->second.lock();
    }

    bool needsNone(const std::string& name)
    {
        const std::lock_guard lock(m_mutex);
        return m_plain.count(name) != 0;
    }

    /// Null notes a profile that needs no conversion. Whoever keeps the conversion owns it.
    void add(const std::string& name, const std::shared_ptr<const ProfileConversion>& conversion)
    {
        constexpr std::size_t mostPlain = 1000;
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_conversions, [](const auto& entry) { return entry.second.expired(); });
        if (m_plain.size() >= mostPlain)
            m_plain.clear();
        if (conversion)
            m_conversions[name] = conversion;
        else
            m_plain.insert(name);
    }

private:
    std::mutex m_mutex;
    std::map<std::string, std::weak_ptr<const ProfileConversion>> m_conversions;
    std::set<std::string> m_plain;
};

/// Whether colours of the profile get a space of this name, which the current document can then convert.
bool takeProfile(std::span<const unsigned char> profile, int components, const char* name) noexcept
{
    WorkAccount* const account = WorkAccount::current();
    if (!account)
        return false;
    try {
        ConversionTable& table = ConversionTable::shared();
        if (table.needsNone(name))
            return false;
        std::shared_ptr<const ProfileConversion> conversion = table.find(name);
        if (!conversion) {
            conversion = makeConversion(profile, components);
            table.add(name, conversion);
        }
        return conversion && account->keep(std::move(conversion));
    } catch (const std::exception&) {
        return false;
    }
}

/// Of a profile and how many components the document says it has.
SpaceName nameFor(const unsigned char (&digest)[digestSize], int components)
{
    SpaceName name{};
    std::memcpy(name.data(), namePrefix, sizeof namePrefix);
    char* end = name.data() + sizeof namePrefix - 1;
    *end++ = static_cast<char>('0' + components % 10);
    for (const unsigned char byte : digest)
        end += std::snprintf(end, 3, "%02x", byte);
    return name;
}

enum fz_colorspace_type typeFor(int components)
{
    return components == 1 ? FZ_COLORSPACE_GRAY : components == 3 ? FZ_COLORSPACE_RGB : FZ_COLORSPACE_CMYK;
}

/// Null unless the array names a profile that makes a difference; then a reference for the caller, and one in the
/// store, where the library finds it when it loads a space based on this.
fz_colorspace* tryProfileSpace(fz_context* context, pdf_obj* object) noexcept
{
    fz_colorspace* space = nullptr;
    fz_buffer* data = nullptr;
    fz_var(space);
    fz_var(data);
    fz_try(context)
    {
        space = static_cast<fz_colorspace*>(pdf_find_item(context, fz_drop_colorspace_imp, object));
        if (!space) {
            pdf_obj* const stream = pdf_array_get(context, object, 1);
            const int components = pdf_dict_get_int(context, stream, PDF_NAME(N));
            data = pdf_load_stream(context, stream);
            unsigned char* bytes = nullptr;
            const std::size_t size = fz_buffer_storage(context, data, &bytes);
            unsigned char digest[digestSize];
            fz_md5_buffer(context, data, digest);
            const SpaceName name = nameFor(digest, components);
            if (takeProfile({bytes, size}, components, name.data())) {
                space = fz_new_colorspace(context, typeFor(components), 0, components, name.data());
                pdf_store_item(context, object, space, storedSize);
            }
        }
    }
    fz_always(context)
    {
        fz_drop_buffer(context, data);
    }
    fz_catch(context)
    {
        fz_drop_colorspace(context, space);
        return nullptr; // the library reports what is wrong
    }
    return space;
}

/// The space with a profile: this one, or the one it is based on; else null.
pdf_obj* profiledBase(fz_context* context, pdf_obj* object)
{
    for (int depth = 0; depth < depthLimit && pdf_is_array(context, object); ++depth) {
        pdf_obj* const kind = pdf_array_get(context, object, 0);
        const auto is = [&](pdf_obj* name) {
            return pdf_name_eq(context, kind, name);
        };
        if (is(PDF_NAME(ICCBased)))
            return pdf_is_stream(context, pdf_array_get(context, object, 1)) ? object : nullptr;
        if (is(PDF_NAME(Indexed)) || is(PDF_NAME(I)) || is(PDF_NAME(Pattern)))
            object = pdf_array_get(context, object, 1);
        else if (is(PDF_NAME(Separation)) || is(PDF_NAME(DeviceN)))
            object = pdf_array_get(context, object, 2);
        else
            return nullptr;
    }
    return nullptr;
}

/// One row of pixels at a time, packed: without whatever lies between their colours.
class RowConversion {
public:
    RowConversion(const ProfileConversion& conversion, const fz_pixmap& from, fz_pixmap& to)
        : m_conversion(conversion)
        , m_from(from)
        , m_to(to)
        , m_straight(static_cast<std::size_t>(from.w) * static_cast<std::size_t>(from.n))
        , m_rgb(static_cast<std::size_t>(from.w) * 3)
    {
    }

    void convert(const unsigned char* in, unsigned char* out)
    {
        const int colors = m_from.n - m_from.alpha;
        const unsigned char* straight = in;
        if (m_from.alpha) {
            unsigned char* to = m_straight.data();
            for (int x = 0; x < m_from.w; ++x) {
                const unsigned alpha = in[x * m_from.n + colors];
                for (int index = 0; index < colors; ++index)
                    *to++ = alpha == 0 ? 0
                                       : static_cast<unsigned char>(
                                             std::min(255U, (in[x * m_from.n + index] * 255U + alpha / 2) / alpha));
            }
            straight = m_straight.data();
        }
        m_conversion.convertPixels(straight, m_rgb.data(), m_from.w);
        if (m_to.n - m_to.alpha == 1)
            toLuma(m_rgb.data(), m_rgb.data(), static_cast<std::size_t>(m_from.w)); // as the library weighs them
        write(in, out);
    }

private:
    void write(const unsigned char* in, unsigned char* out) const
    {
        const int colors = m_to.n - m_to.alpha;
        if (!m_to.alpha && !m_from.alpha) {
            std::memcpy(out, m_rgb.data(), static_cast<std::size_t>(m_from.w) * static_cast<std::size_t>(colors));
            return;
        }
        for (int x = 0; x < m_from.w; ++x, out += m_to.n) {
            const unsigned alpha = m_from.alpha ? in[x * m_from.n + m_from.n - 1] : 255U;
            for (int index = 0; index < colors; ++index)
                out[index] = static_cast<unsigned char>(
                    (m_rgb[static_cast<std::size_t>(x * colors + index)] * alpha + 127) / 255);
            if (m_to.alpha)
                out[colors] = static_cast<unsigned char>(alpha);
        }
    }

    const ProfileConversion& m_conversion;
    const fz_pixmap& m_from;
    fz_pixmap& m_to;
    std::vector<unsigned char> m_straight;
    std::vector<unsigned char> m_rgb;
};

} // namespace

bool hasProfile(const fz_colorspace* space)
{
    return space && space->name && std::strncmp(space->name, namePrefix, sizeof namePrefix - 1) == 0;
}

std::shared_ptr<const ProfileConversion> conversionOf(const fz_colorspace* space) noexcept
try {
    if (!hasProfile(space))
        return nullptr;
    // Gradients ask for the same one for every step.
    thread_local std::string lastName;
    thread_local std::weak_ptr<const ProfileConversion> last;
    std::shared_ptr<const ProfileConversion> conversion = lastName == space->name ? last.lock() : nullptr;
    if (!conversion) {
        conversion = ConversionTable::shared().find(space->name);
        lastName = space->name;
        last = conversion;
    }
    return conversion;
} catch (const std::exception&) {
    return nullptr;
}

bool convertProfilePixels(const fz_pixmap& from, fz_pixmap& to) noexcept
try {
    const std::shared_ptr<const ProfileConversion> conversion = conversionOf(from.colorspace);
    if (!conversion)
        return false;
    RowConversion row(*conversion, from, to);
    for (int y = 0; y < from.h; ++y)
        row.convert(from.samples + y * from.stride, to.samples + y * to.stride);
    return true;
} catch (const std::exception&) {
    return false; // no memory; the library's conversion needs none
}

} // namespace Pelgra::Rendering

fz_colorspace* PELGRA_OVERRIDE(pdf_load_colorspace)(fz_context* context, pdf_obj* object)
{
    using namespace Pelgra::Rendering;
    pdf_obj* const profiled = profiledBase(context, object);
    fz_colorspace* const base = profiled ? tryProfileSpace(context, profiled) : nullptr;
    if (base && profiled == object)
        return base;
    fz_colorspace* space = nullptr;
    fz_var(space);
    fz_try(context)
    {
        space = PELGRA_OVERRIDDEN(pdf_load_colorspace)(context, object);
    }
    fz_always(context)
    {
        fz_drop_colorspace(context, base);
    }
    fz_catch(context)
    {
        fz_rethrow(context);
    }
    return space;
}

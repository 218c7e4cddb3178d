#include "SourceDocument.h"

#include "FileBytes.h"
#include "PelgraCore/EngineError.h"
#include "Trees.h"
#include "UniqueDescriptor.h"

#include <qpdf/QPDFExc.hh>

#include <cstdio>

namespace Pelgra::Documents {

SourceDocument::SourceDocument(const std::filesystem::path& file)
    : m_file(file)
    , m_document(std::make_unique<QPDF>())
{
    UniqueDescriptor descriptor(openRegularFile(file));
    if (!descriptor)
        throw EngineError::unreadable(file);
    FILE* const stream = fdopen(descriptor.get(), "rb");
    if (!stream)
        throw EngineError::unreadable(file);
    descriptor.release();
    try {
        m_document->setSuppressWarnings(true);
        m_document->processFile(file.c_str(), stream, true, ""); // closes the stream, also on failure
        m_pages = walkPageTree(*m_document);
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
    for (std::size_t index = 0; index < m_pages.size(); ++index) {
        if (m_pages[index].object.isIndirect())
            m_pageIndexes.emplace(m_pages[index].object.getObjGen(), index);
    }
}

std::optional<std::size_t> SourceDocument::pageIndexOf(Object page) const
{
    if (!page.isIndirect())
        return std::nullopt;
    const auto found = m_pageIndexes.find(page.getObjGen());
    return found != m_pageIndexes.end() ? std::optional(found->second) : std::nullopt;
}

void SourceDocument::readNamedDestinations()
{
    m_namedDestinations.emplace();
    Object names = dictionaryOf(dictionaryOf(catalog(), "/Names"), "/Dests");
    for (const auto& [name, value] : readNameTree(names))
        m_namedDestinations->emplace(name, value);
    // Version 1.1 keeps them in a dictionary, with names for keys.
    Object dictionary = dictionaryOf(catalog(), "/Dests");
    if (dictionary.isDictionary()) {
        for (const auto& [name, value] : dictionary.getDictAsMap())
            m_namedDestinations->emplace(name.substr(1), value);
    }
}

Object SourceDocument::namedDestination(const std::string& name)
{
    if (!m_namedDestinations)
        readNamedDestinations();
    const auto found = m_namedDestinations->find(name);
    return found != m_namedDestinations->end() ? found->second : Object::newNull();
}

} // namespace Pelgra::Documents

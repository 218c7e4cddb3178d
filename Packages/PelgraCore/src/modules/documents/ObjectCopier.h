#pragma once

#include "Resources.h"

#include <functional>
#include <memory>
#include <vector>

namespace Pelgra::Documents {

/// Copies values of one source into the output, each shared object once.
///
/// Some objects have a place in a document: pages, annotations, form fields, elements of the structure tree. A mere
/// reference never copies those, or one link would drag in all pages of its document. Whoever gives them a place
/// registers what stands for them; a reference to one without a place becomes null.
class ObjectCopier {
public:
    /// The source must outlive the writing of the output: stream data are read only then.
    explicit ObjectCopier(QPDF& output);
    ObjectCopier(const ObjectCopier&) = delete;
    ObjectCopier& operator=(const ObjectCopier&) = delete;
    ~ObjectCopier();

    QPDF& output() { return m_output; }

    /// The places that hold for the following copies; the first map that knows an object decides.
    void setPlaces(std::vector<const ObjectMap*> places) { m_places = std::move(places); }

    /// The value in the output; null where it is an object without a place.
    Object copy(Object value);

    /// A new direct dictionary with copies of all values but those of the keys listed.
    Object copyEntries(Object dictionary, const std::vector<std::string>& omittedKeys);

    /// A new stream with the same data, and in its dictionary only what decoding needs.
    Object copyStreamData(Object stream);

    /// A resource dictionary with what is used of it; all of it where that is not known.
    Object copyResources(Object resources, const std::optional<NameSet>& usedNames);

    /// Whether the (indirect) object has been copied or has a place.
    bool knows(Object value) const;
    void forEachKnown(const std::function<void(QPDFObjGen)>& visit) const;

    /// Added to the keys by which the content of forms finds its structure; without it the keys are left out.
    void setStructureOffset(std::optional<long long> offset) { m_structureOffset = offset; }

    /// From now on, resources that a stream does not use are left out of its own resource dictionary.
    void setPrunesResources(bool prunes) { m_prunesResources = prunes; }
    bool prunesResources() const { return m_prunesResources; }

private:
    class StreamRelay;
    struct Unfinished {
        Object source;
        Object copy;
    };

    Object convert(Object value);
    Object convertIndirect(Object value);
    Object convertResources(Object resources, const std::optional<NameSet>& usedNames);
    Object newStream(Object source);
    void fill(const Unfinished& unfinished);
    void fillDictionary(Object source, Object copy);
    void finishAll();

    QPDF& m_output;
    std::shared_ptr<StreamRelay> m_relay;
    std::vector<const ObjectMap*> m_places;
    ObjectMap m_shared;
    std::vector<Unfinished> m_unfinished;
    std::optional<long long> m_structureOffset;
    bool m_prunesResources = false;
};

} // namespace Pelgra::Documents

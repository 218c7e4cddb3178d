#pragma once

#include "Annotations.h"
#include "NumberedNames.h"

#include <list>

namespace Pelgra::Documents {

/// The form of an output, gathered from the forms of its inputs. A field that appears on several pages stays one field;
/// a second copy of its page makes a second field with another name.
class FormFields {
public:
    /// Makes places for the fields of the given annotations and connects them. To be called before anything is filled.
    void place(Input& input, PlacedPage& page, const std::vector<PlacedAnnotation>& annotations);

    /// Makes places for the fields that no page shows.
    void placeHidden(Input& input);

    /// Copies what the fields say, makes their names unique and enters the form into the catalogue. Annotations must
    /// be filled. `isWhole` tells that the output has the pages of one document, unchanged in number and order.
    void finish(Object catalog, const std::vector<std::unique_ptr<Input>>& inputs, bool isWhole);

private:
    struct Node {
        Object source;
        Object copy;
        bool isWidget = false; ///< filled as an annotation
        std::vector<Object> kids;
    };
    /// The fields that share names: those of an input, or those of a duplicated page.
    struct Group {
        Input* input = nullptr;
        ObjectMap* places = nullptr;
        std::vector<const ObjectMap*> allPlaces;
        std::list<Node> nodes;
        std::map<QPDFObjGen, Node*> nodesByCopy;
        std::vector<Node*> roots;
    };

    Group& groupFor(Input& input, PlacedPage* page);
    Node& addNode(Group& group, Object source, Object copy, bool isWidget);
    void connect(Group& group, Node& node);
    void fillNodes(Group& group, const std::vector<std::unique_ptr<Input>>& inputs);
    void nameRoots(Group& group, Object fields);
    static std::vector<Object> calculationOrderOf(Input& input);
    void mergeDefaults(Object form, Input& input, bool isFirst);
    void renameFonts(Input& input, const std::map<std::string, std::string>& renamed);
    void adoptDefault(Input& input, const char* key, Object value);

    std::list<Group> m_groups;
    NumberedNames m_usedNames;
};

} // namespace Pelgra::Documents

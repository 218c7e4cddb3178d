#pragma once

#include "Input.h"

namespace Pelgra::Documents {

/// The attached files of all inputs, as a name tree. One whose name is taken by another file gets a numbered name, both
/// in the tree and in what readers show. Null where there are none.
Object combinedAttachments(const std::vector<std::unique_ptr<Input>>& inputs);

/// The scripts that the documents run when opened, which their form fields call. Null where there are none.
Object combinedScripts(const std::vector<std::unique_ptr<Input>>& inputs);

/// The files that the catalogues associate with the documents as a whole, as an array.
Object combinedAssociatedFiles(const std::vector<std::unique_ptr<Input>>& inputs);

} // namespace Pelgra::Documents

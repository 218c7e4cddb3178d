#pragma once

#include "Objects.h"

#include <utility>

/// Name trees and number trees. Read in file order whatever the limits claim, each node once, so that a cyclic or
/// unsorted tree ends and yields what it has.
namespace Pelgra::Documents {

std::vector<std::pair<std::string, Object>> readNameTree(Object root);
std::vector<std::pair<long long, Object>> readNumberTree(Object root);

/// A tree of one node. Keys are sorted here; values must belong to the output.
Object makeNameTree(const std::map<std::string, Object>& entries);
Object makeNumberTree(const std::map<long long, Object>& entries);

} // namespace Pelgra::Documents

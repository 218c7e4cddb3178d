#pragma once

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// Reading values of untrusted files: every helper answers for any type, and never makes qpdf warn or throw.
namespace Pelgra::Documents {

using Object = QPDFObjectHandle;

/// Objects of one source and what stands for each in the output.
using ObjectMap = std::map<QPDFObjGen, Object>;

/// The value under a key; null where the holder is not a dictionary (or stream) or has no such key.
Object valueOf(Object holder, const std::string& key);

/// The dictionary (not stream) under a key, else null.
Object dictionaryOf(Object holder, const std::string& key);

/// The name under a key with its slash, else empty.
std::string nameOf(Object holder, const std::string& key);

/// Whether the name under a key is this one.
bool isNamed(Object holder, const std::string& key, const char* name);

/// The items of an array; none for anything else.
std::vector<Object> itemsOf(Object array);

/// Gives the items of each array once: where many nodes of a tree name one list, reading it for each of them would take
/// the square of the file's size.
class ListsOnce {
public:
    std::vector<Object> itemsOf(Object array);

private:
    std::set<QPDFObjGen> m_read;
};

std::optional<long long> integerOf(Object value);
std::optional<double> numberOf(Object value);

/// Exactly four numbers (more are ignored), else none.
std::optional<std::array<double, 4>> rectangleOf(Object value);

/// An array of numbers, whole ones as integers.
Object arrayOf(const std::vector<double>& numbers);

/// Sets a key, or removes it for a null or empty value (an empty array or dictionary).
void setUnlessEmpty(Object dictionary, const std::string& key, Object value);

} // namespace Pelgra::Documents

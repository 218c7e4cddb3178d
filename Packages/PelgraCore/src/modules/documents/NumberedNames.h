#pragma once

#include <map>
#include <set>
#include <string>

namespace Pelgra::Documents {

/// Gives everything a name of its own: where one is taken, the first number from 2 with which it is free.
class NumberedNames {
public:
    /// The free name for `name`, taken from now on. `numbered(name, number)` makes one with a number.
    template <typename Numbered>
    std::string take(const std::string& name, Numbered&& numbered)
    {
        std::string free = name;
        if (m_taken.count(name) != 0) {
            // Names are never given back, so what was taken before still is.
            for (int& number = m_next.emplace(name, 2).first->second; m_taken.count(free) != 0; ++number)
                free = numbered(name, number);
        }
        m_taken.insert(free);
        return free;
    }

private:
    std::set<std::string> m_taken;
    std::map<std::string, int> m_next;
};

} // namespace Pelgra::Documents

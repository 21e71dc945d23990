/// Shrinks a sequence that shows a fault.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace model {

/// Removes parts of `sequence` while `shows(sequence)` stays true, and returns the rest: without any of these elements,
/// `shows` would be false. It must be true for the whole sequence.
template <class Element, class Shows> std::vector<Element> Shrink(std::vector<Element> sequence, Shows shows) {
    for (std::size_t part = std::max<std::size_t>(sequence.size() / 2, 1);;) {
        bool shorter = false;
        for (std::size_t start = 0; start < sequence.size();) {
            std::vector<Element> rest = sequence;
            const auto first = rest.begin() + static_cast<std::ptrdiff_t>(start);
            rest.erase(first, first + static_cast<std::ptrdiff_t>(std::min(part, rest.size() - start)));
            if (shows(rest)) {
                sequence = std::move(rest);
                shorter = true;
            } else {
                start += part;
            }
        }
        if (part > 1) {
            part /= 2;
        } else if (!shorter) {
            return sequence;
        }
    }
}

} // namespace model

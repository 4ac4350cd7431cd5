// A property list, such as a wallpaper's description, is either refused, or is within the limits
// and valid UTF-8 throughout.

#include "Platform/Foundation/PropertyList.h"
#include "Platform/Foundation/NSString.h"

#include <cstdlib>

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

struct Totals {
    std::size_t nodes = 0;
    std::size_t contentBytes = 0;

    void addText(const std::string &text) {
        require(isValidUTF8(text));
        contentBytes += text.size();
    }

    void addScalar(const PropertyList &list) {
        if (const std::string *text = list.text()) {
            addText(*text);
        } else if (const PropertyList::Data *data = list.data()) {
            contentBytes += data->bytes.size();
        }
        const bool isConvertible = list.boolean() || list.integer() || list.real() || list.text();
        require(list.integerValue().has_value() == isConvertible);
    }

    void addEntries(const PropertyList::Dictionary &entries, std::size_t depth) {
        for (const auto &[key, value] : entries) {
            ++nodes;
            addText(key);
            add(value, depth + 1);
        }
    }

    void add(const PropertyList &list, std::size_t depth) {
        require(depth <= PropertyListLimits::kMaxDepth);
        ++nodes;
        addScalar(list);
        if (const PropertyList::Dictionary *entries = list.dictionary()) {
            addEntries(*entries, depth);
        } else if (const PropertyList::Array *values = list.array()) {
            for (const PropertyList &value : *values) {
                add(value, depth + 1);
            }
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (const auto list = readPropertyList({data, size})) {
        Totals totals;
        totals.add(*list, 1);
        require(totals.nodes <= PropertyListLimits::kMaxNodes);
        require(totals.contentBytes <= PropertyListLimits::kMaxContentBytes);
    }
    return 0;
}

#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/PropertyListReading.h"

#include <algorithm>
#include <cstring>
#include <pugixml.hpp>
#include <string_view>

namespace {

using Bytes = std::span<const std::uint8_t>;

/// The parser keeps white space, because a text may begin or end with it, and keeps what stands
/// beside the root element, because a file with anything there is refused.
constexpr unsigned kParsing = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol |
                              pugi::parse_ws_pcdata | pugi::parse_fragment;

/// The parser's nodes take many times the memory of their tags, so the tags are counted before it
/// runs. A value or a key has two tags; the rest is for comments.
constexpr std::ptrdiff_t kMaxTags = 2 * PropertyListLimits::kMaxNodes + 100'000;
constexpr std::size_t kMaxAttributes = 1'000'000;

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool isBlank(std::string_view text) { return std::all_of(text.begin(), text.end(), isSpace); }

/// An upper bound of the number of attributes: counts equals signs that a quote follows.
std::size_t countAttributes(Bytes bytes) {
    std::size_t count = 0;
    bool isAfterEquals = false;
    for (const std::uint8_t byte : bytes) {
        const char c = static_cast<char>(byte);
        count += isAfterEquals && (c == '"' || c == '\'');
        isAfterEquals = c == '=' || (isAfterEquals && isSpace(c));
    }
    return count;
}

/// The parser would stop at a zero byte and accept what stands before it.
bool isWorthParsing(Bytes bytes) {
    return !bytes.empty() && !std::memchr(bytes.data(), 0, bytes.size()) &&
           std::count(bytes.begin(), bytes.end(), '<') <= kMaxTags &&
           countAttributes(bytes) <= kMaxAttributes;
}

bool isElement(pugi::xml_node node) { return node.type() == pugi::node_element; }

bool isNamed(pugi::xml_node node, const char *name) { return std::strcmp(node.name(), name) == 0; }

pugi::xml_node elementFrom(pugi::xml_node node) {
    while (node && !isElement(node)) {
        node = node.next_sibling();
    }
    return node;
}

pugi::xml_node firstElement(pugi::xml_node parent) { return elementFrom(parent.first_child()); }

pugi::xml_node nextElement(pugi::xml_node element) { return elementFrom(element.next_sibling()); }

/// True when nothing but white space stands between a node's elements.
bool holdsElementsAlone(pugi::xml_node parent) {
    const auto children = parent.children();
    return std::all_of(children.begin(), children.end(), [](pugi::xml_node child) {
        return isElement(child) || isBlank(child.value());
    });
}

/// The element in a node that has exactly one and no text beside it; else null.
pugi::xml_node onlyElement(pugi::xml_node parent) {
    const pugi::xml_node element = firstElement(parent);
    const bool isAlone = element && !nextElement(element) && holdsElementsAlone(parent);
    return isAlone ? element : pugi::xml_node();
}

/// The text in a node, nothing when it holds elements too.
std::optional<std::string> characters(pugi::xml_node node) {
    std::string text;
    for (const pugi::xml_node child : node.children()) {
        if (isElement(child)) {
            return std::nullopt;
        }
        text += child.value();
    }
    return text;
}

template <class T> std::optional<PropertyList> asPropertyList(std::optional<T> value) {
    return value ? std::optional(PropertyList(std::move(*value))) : std::nullopt;
}

class XMLReader {
  public:
    std::optional<PropertyList> readValue(pugi::xml_node element, std::size_t depth);

  private:
    std::optional<PropertyList> readScalar(pugi::xml_node element);
    std::optional<std::string> readText(pugi::xml_node element);
    std::optional<PropertyList::Data> readData(std::string_view text);
    std::optional<PropertyList::Array> readArray(pugi::xml_node element, std::size_t depth);
    std::optional<PropertyList::Dictionary> readDictionary(pugi::xml_node element,
                                                           std::size_t depth);

    PropertyListBudget _budget;
};

std::optional<PropertyList> XMLReader::readValue(pugi::xml_node element, std::size_t depth) {
    if (depth > PropertyListLimits::kMaxDepth || !_budget.takeNodes(1)) {
        return std::nullopt;
    }
    if (isNamed(element, "dict")) {
        return asPropertyList(readDictionary(element, depth));
    }
    if (isNamed(element, "array")) {
        return asPropertyList(readArray(element, depth));
    }
    if (isNamed(element, "string")) {
        return asPropertyList(readText(element));
    }
    return readScalar(element);
}

std::optional<PropertyList> XMLReader::readScalar(pugi::xml_node element) {
    const auto text = characters(element);
    if (!text) {
        return std::nullopt;
    }
    if (isNamed(element, "integer")) {
        return integerFromText(*text);
    }
    if (isNamed(element, "real")) {
        return asPropertyList(realFromText(*text));
    }
    if (isNamed(element, "date")) {
        return asPropertyList(dateFromText(*text));
    }
    if (isNamed(element, "data")) {
        return asPropertyList(readData(*text));
    }
    const bool isTrue = isNamed(element, "true");
    if ((isTrue || isNamed(element, "false")) && isBlank(*text)) {
        return PropertyList(isTrue);
    }
    return std::nullopt;
}

/// A text or a key. The parser does not check character references, so that a reference to a
/// surrogate would give invalid UTF-8.
std::optional<std::string> XMLReader::readText(pugi::xml_node element) {
    auto text = characters(element);
    const bool isAccepted = text && isValidUTF8(*text) && _budget.takeContentBytes(text->size());
    return isAccepted ? std::move(text) : std::nullopt;
}

std::optional<PropertyList::Data> XMLReader::readData(std::string_view text) {
    auto bytes = bytesFromBase64(text);
    const bool isAccepted = bytes && _budget.takeContentBytes(bytes->size());
    return isAccepted ? std::optional(PropertyList::Data{std::move(*bytes)}) : std::nullopt;
}

std::optional<PropertyList::Array> XMLReader::readArray(pugi::xml_node element, std::size_t depth) {
    if (!holdsElementsAlone(element)) {
        return std::nullopt;
    }
    PropertyList::Array values;
    for (auto child = firstElement(element); child; child = nextElement(child)) {
        auto value = readValue(child, depth + 1);
        if (!value) {
            return std::nullopt;
        }
        values.push_back(std::move(*value));
    }
    return values;
}

std::optional<PropertyList::Dictionary> XMLReader::readDictionary(pugi::xml_node element,
                                                                  std::size_t depth) {
    if (!holdsElementsAlone(element)) {
        return std::nullopt;
    }
    PropertyList::Dictionary entries;
    for (auto child = firstElement(element); child; child = nextElement(child)) {
        const bool isKey = isNamed(child, "key") && _budget.takeNodes(1);
        auto key = isKey ? readText(child) : std::nullopt;
        child = nextElement(child);
        auto value = key && child ? readValue(child, depth + 1) : std::nullopt;
        if (!value) {
            return std::nullopt;
        }
        entries.insert_or_assign(std::move(*key), std::move(*value));
    }
    return entries;
}

} // namespace

std::optional<PropertyList> readXMLPropertyList(std::span<const std::uint8_t> bytes) {
    if (!isWorthParsing(bytes)) {
        return std::nullopt;
    }
    pugi::xml_document document;
    if (!document.load_buffer(bytes.data(), bytes.size(), kParsing, pugi::encoding_utf8)) {
        return std::nullopt;
    }
    const pugi::xml_node root = onlyElement(document);
    const pugi::xml_node value = isNamed(root, "plist") ? onlyElement(root) : pugi::xml_node();
    return value ? XMLReader().readValue(value, 1) : std::nullopt;
}

#pragma once

#include "Platform/Foundation/PropertyList.h"

#include "Tests/Platform/Foundation/BinaryPropertyListBuilder.h"

#include <string>
#include <string_view>

/// The same property list in both forms, with a value of every type.
namespace PropertyListSamples {

inline std::optional<PropertyList> read(std::string_view text) {
    // An allocation of exactly this size, so that the address sanitizer sees a read past its end.
    return readPropertyList(std::vector<std::uint8_t>(text.begin(), text.end()));
}

inline std::string document(std::string_view value) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Example//DTD PLIST 1.0//EN\" "
           "\"http://example.org/p.dtd\">\n"
           "<plist version=\"1.0\">\n" +
           std::string(value) + "\n</plist>";
}

inline PropertyList value() {
    using List = PropertyList;
    return List(List::Dictionary{
        {"array", List(List::Array{List(1), List(List::Array{}), List(false)})},
        {"data", List(List::Data{{0x00, 0xff, 0x10}})},
        {"date", List(List::Date{86400})},
        {"petal", List("\xe6\xa1\x9c")},
        {"sakura Count", List(-5)},
        {"speed", List(0.5)},
        {"true", List(true)},
    });
}

inline std::string xml() {
    return document("<dict>\n"
                    "  <key>array</key><array><integer>1</integer><array/><false/></array>\n"
                    "  <key>data</key><data>AP8Q</data>\n"
                    "  <key>date</key><date>2001-01-02T00:00:00Z</date>\n"
                    "  <key>petal</key><string>\xe6\xa1\x9c</string>\n"
                    "  <key>sakura Count</key><integer>-5</integer>\n"
                    "  <key>speed</key><real>0.5</real>\n"
                    "  <key>true</key><true/>\n"
                    "</dict>");
}

inline std::vector<std::uint8_t> binary() {
    BinaryPropertyListBuilder list;
    const auto top = list.next();
    list.addDictionary({1, 2, 3, 4, 5, 6, 7}, {8, 12, 13, 14, 15, 16, 17});
    for (const char *key : {"array", "data", "date", "petal", "sakura Count", "speed", "true"}) {
        list.addText(key);
    }
    list.addArray({9, 10, 11});
    list.add({0x10, 0x01});
    list.addArray({});
    list.add({0x08});
    list.addData({0x00, 0xff, 0x10});
    list.add({0x33, 0x40, 0xf5, 0x18, 0x00, 0x00, 0x00, 0x00, 0x00});
    list.add({0x61, 0x68, 0x5c});
    list.add({0x13, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xfb});
    list.add({0x22, 0x3f, 0x00, 0x00, 0x00});
    list.add({0x09});
    return list.finish(top);
}

} // namespace PropertyListSamples

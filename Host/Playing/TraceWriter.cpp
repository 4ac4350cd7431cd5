#include "Host/Playing/TraceWriter.h"

#include "Animation/DeskTopView/DeskTopView.h"
#include "Animation/DeskTopView/FallingSakuraView/Sakura.h"
#include "Host/Support/Printing.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace Lumivera {

namespace {

/// The shortest text that reads back to the same number; JSON has none for infinities and NaN.
void appendNumber(std::string &text, double number) {
    if (!std::isfinite(number)) {
        text += "null";
        return;
    }
    char digits[32];
    const auto result = std::to_chars(digits, digits + sizeof digits, number);
    text.append(digits, result.ptr);
}

void appendName(std::string &text, const UIImageView *view) {
    const auto image = view ? view->image() : nullptr;
    if (!image || image->fileName().empty()) {
        text += "null";
        return;
    }
    text += safeJson(nlohmann::json(image->fileName())
                         .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

double angleOf(const UIView &view) {
    if (const auto *petal = dynamic_cast<const Sakura *>(&view)) {
        return petal->angle();
    }
    const CATransform3D transform = view.layer()->transform();
    return std::atan2(transform.m12, transform.m11);
}

void appendPetal(std::string &text, const UIView &view) {
    text += '[';
    appendName(text, dynamic_cast<const UIImageView *>(&view));
    const CGPoint center = view.center();
    const CGSize size = view.frame().size;
    for (const double number : {double{center.x}, double{center.y}, angleOf(view),
                                double{size.width}, double{size.height}}) {
        text += ',';
        appendNumber(text, number);
    }
    text += ']';
}

void appendLayer(std::string &text, const UIView &layer) {
    text += '[';
    for (NSUInteger i = 0; i < layer.subviewCount(); ++i) {
        if (i > 0) {
            text += ',';
        }
        appendPetal(text, *layer.subviewAtIndex(i));
    }
    text += ']';
}

} // namespace

TraceWriter::TraceWriter(const std::string &path, Mode mode)
    : _file(path, mode == Mode::Live ? OutputFile::Mode::InPlace : OutputFile::Mode::Whole),
      _mode(mode) {}

TraceWriter::~TraceWriter() = default;

void TraceWriter::writeFrame(NSTimeInterval time, const DeskTopView &view) {
    writeEntry(entry(time, view));
}

void TraceWriter::writeEntry(std::string_view entry) {
    _file.write("{\"frame\":" + std::to_string(_nextFrame++) + ",");
    _file.write(entry);
    _file.write("\n");
    if (_mode == Mode::Live) {
        _file.flush();
    }
}

void TraceWriter::flush() { _file.flush(); }

void TraceWriter::finish() { _file.commit(); }

std::string TraceWriter::entry(NSTimeInterval time, const DeskTopView &view) {
    std::string text = "\"time\":";
    appendNumber(text, time);
    text += ",\"layers\":[";
    bool isFirst = true;
    for (NSUInteger i = 0; i < view.subviewCount(); ++i) {
        const UIView *layer = view.subviewAtIndex(i);
        if (layer != view.bgView()) {
            text += isFirst ? "" : ",";
            isFirst = false;
            appendLayer(text, *layer);
        }
    }
    return text + "]}";
}

} // namespace Lumivera

#include "Host/Playing/TraceWriter.h"

#include "Animation/DeskTopView/DeskTopView.h"
#include "Animation/DeskTopView/FallingSakuraView/Sakura.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Support/Printing.h"

#include <charconv>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

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

/// The name of the picture; empty where there is none.
std::string nameOf(const UIView *view) {
    const auto *imageView = dynamic_cast<const UIImageView *>(view);
    const auto image = imageView ? imageView->image() : nullptr;
    return image ? image->fileName() : std::string();
}

void appendText(std::string &text, const std::string &value) {
    text += safeJson(
        nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

double angleOf(const CATransform3D &transform) { return std::atan2(transform.m12, transform.m11); }

double angleOf(const UIView &view) {
    const auto *petal = dynamic_cast<const Sakura *>(&view);
    return petal ? petal->angle() : angleOf(view.layer()->transform());
}

void appendPetal(std::string &text, const UIView &view) {
    text += '[';
    const std::string name = nameOf(&view);
    if (name.empty()) {
        text += "null";
    } else {
        appendText(text, name);
    }
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

std::string layersText(const DeskTopView &view) {
    std::string text = "\"layers\":[";
    bool isFirst = true;
    for (NSUInteger i = 0; i < view.subviewCount(); ++i) {
        const UIView *layer = view.subviewAtIndex(i);
        if (layer != view.bgView()) {
            text += isFirst ? "" : ",";
            isFirst = false;
            appendLayer(text, *layer);
        }
    }
    return text + "]";
}

/// The size of the box around a layer that is shown with these values.
CGSize boxOf(const LayerValues &values) {
    const CATransform3D &t = values.transform;
    const CGSize size = values.bounds.size;
    return {std::abs(t.m11) * size.width + std::abs(t.m21) * size.height,
            std::abs(t.m12) * size.width + std::abs(t.m22) * size.height};
}

/// Writes what lies in a view, with names that begin with those of what it lies in.
class SublayersText {
  public:
    explicit SublayersText(NSTimeInterval time) : _time(time) {}

    void add(const CALayer &superlayer, const UIView *owner, const CALayer *leftOut,
             const std::string &path = {}, int depth = 0) {
        std::map<const CALayer *, const UIView *> views;
        for (NSUInteger i = 0; owner && i < owner->subviewCount(); ++i) {
            views[owner->subviewAtIndex(i)->layer()] = owner->subviewAtIndex(i);
        }
        std::map<std::string, int> uses;
        const auto &sublayers = superlayer.sublayers();
        for (std::size_t i = 0; i < sublayers.size() && depth < kMaxDepth; ++i) {
            const CALayer &layer = *sublayers[i];
            if (&layer == leftOut) {
                continue;
            }
            const auto found = views.find(&layer);
            const UIView *view = found == views.end() ? nullptr : found->second;
            std::string name = nameOf(view);
            if (name.empty()) {
                name = std::to_string(i);
            } else if (const int use = ++uses[name]; use > 1) {
                name += "#" + std::to_string(use);
            }
            name.insert(0, path);
            addOne(name, layer.presentationAt(_time));
            add(layer, view, nullptr, name + "/", depth + 1);
        }
    }

    std::string text() const { return _text; }

  private:
    /// More than a tree of views has, and fewer than take the stack.
    static constexpr int kMaxDepth = 100;

    void addOne(const std::string &name, const LayerValues &shown) {
        _text += _text.empty() ? "" : ",";
        appendText(_text, name);
        const CGSize box = boxOf(shown);
        char before = '[';
        _text += ':';
        for (const double number :
             {double{shown.position.x}, double{shown.position.y}, angleOf(shown.transform),
              double{box.width}, double{box.height}}) {
            _text += std::exchange(before, ',');
            appendNumber(_text, number);
        }
        _text += ']';
    }

    const NSTimeInterval _time;
    std::string _text;
};

std::string sublayersText(NSTimeInterval time, const DeskTopView &view) {
    SublayersText sublayers(time);
    sublayers.add(*view.layer(), &view, view.bgView()->layer());
    return "\"sublayers\":{" + sublayers.text() + "}";
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
    const bool hasPetals = dynamic_cast<const LumiveraView *>(&view) != nullptr;
    return text + "," + (hasPetals ? layersText(view) : sublayersText(time, view)) + "}";
}

} // namespace Lumivera

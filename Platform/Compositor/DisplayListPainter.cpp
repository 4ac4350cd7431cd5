#include "Platform/Compositor/DisplayListPainter.h"

#include "Platform/Compositor/ProjectivePainter.h"
#include "Platform/Compositor/QuadPainter.h"

#include <atomic>
#include <cmath>
#include <functional>

namespace {

constexpr std::uint32_t kFullWeight = 65536;
constexpr std::uint32_t kBlack = 0xFF000000;

// The target is drawn from top to bottom in parts of this size, so that what is drawn over each
// other is still near the processor.
constexpr int kBandBytes = 1 << 22;
constexpr int kLeastBandRows = 16;

// More than most have, so that few are found twice.
constexpr std::size_t kSpansAnItem = 96;

// Where threads share a picture.
constexpr int kBandsAThread = 4;

// Moved by less than this, no pixel changes.
constexpr double kUnseen = 1.0 / 4096;

// The item's map as one of texels.
Affine texelMap(const Affine &map, int width, int height) {
    return {map.a / width, map.b / width, map.c / height, map.d / height, map.tx, map.ty};
}

bool isNear(double value, double other) { return std::abs(value - other) < kUnseen; }

bool isUpright(const Affine &map) {
    return isNear(map.b, 0) && isNear(map.c, 0) && map.a > 0 && map.d > 0;
}

// Texels lie on pixels one to one.
bool isCopy(const Affine &map, const CGImage &image) {
    return isUpright(map) && isNear(map.a, static_cast<double>(image.width())) &&
           isNear(map.d, static_cast<double>(image.height())) &&
           isNear(map.tx, std::round(map.tx)) && isNear(map.ty, std::round(map.ty));
}

// How often a side may be halved until at most two texels meet a pixel.
int halvings(double texelsPerPixel, int side) {
    int count = 0;
    for (; texelsPerPixel > 2 && side >> count > 1; count++) {
        texelsPerPixel /= 2;
    }
    return count;
}

std::uint32_t product(std::uint32_t weight, std::uint32_t other) {
    return static_cast<std::uint32_t>((std::uint64_t{weight} * other + kFullWeight / 2) /
                                      kFullWeight);
}

void clear(const PixelArea &area, const PaintClip &clip, std::uint32_t pixel) {
    for (int y = clip.rect.top; y < clip.rect.bottom; y++) {
        clip.forEachRun(y, clip.rect.left, clip.rect.right, [&](int left, int right) {
            std::fill_n(area.at(left, y), right - left, pixel);
        });
    }
}

// Has memory look for what will be drawn while rows are found, when it has little else to do.
void fetch(const PixelArea &target, int y, const PolygonSpans::Span &span) {
    constexpr int kIntoSecondCache = 2;
    for (int x = CellMask::startOfCell(span.left); x < span.right; x += CellMask::kCell) {
        __builtin_prefetch(target.at(x, y), 0, kIntoSecondCache);
    }
}

} // namespace

DisplayListPainter::DisplayListPainter(const PixelKernels &kernels) : _kernels(kernels) {
    setThreads(1);
}

void DisplayListPainter::setThreads(unsigned count) {
    _helpers.clear();
    _hands.clear();
    _hands.emplace_back(_kernels);
    while (_hands.size() < count) {
        _hands.emplace_back(_kernels);
        _helpers.emplace_back();
    }
}

// The memory for spans is taken at once, and what finds no room in it is found anew.
void DisplayListPainter::beginFrame(const DisplayList &list, const PixelArea &target) {
    _list = &list;
    _target = target;
    _device = target.area;
    _isPainted = false;
    _found.clear();
    _found.reserve(list.items().capacity());
    _spans.clear();
    _spans.reserve(list.items().capacity() * kSpansAnItem);
}

void DisplayListPainter::mark(const DisplayItem &item, CellMask &mask) {
    _found.resize(_list->items().size());
    mark(item, {mask, nullptr, _hands.front().sprites, true});
}

void DisplayListPainter::mark(const Item &item, const Marking &marking) {
    if (item.kind == Item::Kind::Group) {
        for (const Item *member = &item + 1; member < &item + item.length;
             member += member->length) {
            mark(*member, marking);
        }
    } else if (isSprite(item)) {
        markSprite(item, marking);
    } else {
        marking.mask.add(item.bounds, marking.again);
    }
}

void DisplayListPainter::markSprite(const Item &item, const Marking &marking) {
    const auto add = [&](const auto &shown) {
        for (int y = shown.top(); y < shown.bottom(); y++) {
            const PolygonSpans::Span row = shown.row(y);
            marking.mask.add(y, row.left, row.right, marking.again);
        }
    };
    const DeviceRect clip = item.bounds.intersection(marking.mask.area());
    Found *const found = foundOf(item);
    if (found && found->sprite) {
        add(spansOf(*found, clip));
    } else if (const auto sprite = sampled(item)) {
        const PolygonSpans &shown = marking.sprites.findShown(*sprite->texels, sprite->quad, clip);
        add(shown);
        if (found && marking.isKept) {
            keep(*sprite, shown, *found);
        }
    }
}

// Null for items of another list, and when nothing was marked.
DisplayListPainter::Found *DisplayListPainter::foundOf(const Item &item) {
    const Item *const first = _list->items().data();
    const bool isOurs =
        std::greater_equal<>()(&item, first) && std::less<>()(&item, first + _found.size());
    return isOurs ? &_found[static_cast<std::size_t>(&item - first)] : nullptr;
}

void DisplayListPainter::keep(const Sampled &sprite, const PolygonSpans &shown, Found &found) {
    const auto rows = static_cast<std::size_t>(shown.bottom() - shown.top());
    if (rows == 0 || rows > _spans.capacity() - _spans.size()) {
        return;
    }
    found = {sprite, _spans.size(), shown.top(), shown.bottom()};
    _spans.resize(_spans.size() + rows);
    PolygonSpans::Span *span = &_spans[found.firstSpan];
    for (int y = shown.top(); y < shown.bottom(); y++) {
        *span = shown.row(y);
        fetch(_target, y, *span++);
    }
}

PolygonSpans::Kept DisplayListPainter::spansOf(const Found &found, const DeviceRect &clip) const {
    return {&_spans[found.firstSpan], found.top, found.bottom, clip};
}

bool DisplayListPainter::isSprite(const Item &item) const {
    return item.kind == Item::Kind::Picture && !item.isInPerspective() &&
           !isCopy(item.map, *item.image) && !isWorthScaling(item);
}

void DisplayListPainter::paint(const CellMask *mask) {
    _isPainted = true;
    const std::vector<Item> &items = _list->items();
    const bool isHidden = !items.empty() && hidesAll(items.front());
    const int rows = bandRows();
    std::atomic<int> nextTop{_device.top};
    const auto work = [&](Hand &hand) {
        hand.sprites.begin();
        hand.buffers.setLargest({_device.left, _device.top, _device.right,
                                 std::min(_device.top + rows, _device.bottom)});
        for (int top; (top = nextTop.fetch_add(rows)) < _device.bottom;) {
            const DeviceRect band{_device.left, top, _device.right,
                                  std::min(top + rows, _device.bottom)};
            paintBand({hand, _target, {band, mask}, kFullWeight}, isHidden);
        }
    };
    const bool isShared = rows < _device.height();
    for (std::size_t i = 0; isShared && i < _helpers.size(); i++) {
        _helpers[i].start([&work, &hand = _hands[i + 1]] { work(hand); });
    }
    work(_hands.front());
    for (std::size_t i = 0; isShared && i < _helpers.size(); i++) {
        _helpers[i].finish();
    }
}

// Several for each thread, so that they end at the same time. More large pictures than are kept
// would drive out what another thread draws: then one draws all.
int DisplayListPainter::bandRows() const {
    if (_helpers.empty()) {
        return std::max(kBandBytes / (_device.width() * 4), kLeastBandRows);
    }
    const std::vector<Item> &items = _list->items();
    const auto large = std::count_if(items.begin(), items.end(), [&](const Item &item) {
        return item.kind == Item::Kind::Picture && isWorthScaling(item);
    });
    if (static_cast<std::size_t>(large) > ScaledPictures::kMostEntries) {
        return _device.height();
    }
    const int bands = kBandsAThread * static_cast<int>(_hands.size());
    return std::max(_device.height() / bands, kLeastBandRows);
}

void DisplayListPainter::paintBand(const Canvas &canvas, bool isHidden) {
    if (!isHidden) {
        clear(canvas.target, canvas.clip, kBlack);
    }
    const std::vector<Item> &items = _list->items();
    paintMembers(items.data(), items.data() + items.size(), canvas);
}

void DisplayListPainter::endFrame() {
    if (_isPainted) {
        _scaled.endFrame();
    }
    _pictures.endFrame();
}

void DisplayListPainter::purge() {
    for (Hand &hand : _hands) {
        hand.buffers.purge();
    }
    _scaled.purge();
    _pictures.purge();
    _found = {};
    _spans = {};
}

// Nothing of what was there before shows through the item, or beside it.
bool DisplayListPainter::hidesAll(const Item &item) {
    if (item.bounds != _device || item.weight != kFullWeight || item.isInPerspective()) {
        return false;
    }
    if (item.kind == Item::Kind::Fill) {
        const auto quad = DeviceQuad::make(item.map, 1, 1);
        return item.color.alpha >= 1 && quad && quad->alignedRectWithin(_device) == _device;
    }
    return item.kind == Item::Kind::Picture &&
           (isCopy(item.map, *item.image) ? item.image->isOpaque()
                                          : isWorthScaling(item) && scaledFor(item).isOpaque());
}

void DisplayListPainter::paintMembers(const Item *first, const Item *end, const Canvas &canvas) {
    for (const Item *item = first; item < end; item += item->length) {
        paintItem(*item, canvas);
    }
}

void DisplayListPainter::paintItem(const Item &item, const Canvas &canvas) {
    const PaintClip clip = canvas.clip.within(item.bounds);
    if (clip.rect.isEmpty()) {
        return;
    }
    const Canvas inside{canvas.hand, canvas.target, clip, product(item.weight, canvas.weight)};
    if (item.isInPerspective() && item.kind != Item::Kind::Mask) {
        paintInPerspective(item, inside);
        return;
    }
    switch (item.kind) {
    case Item::Kind::Fill:
        if (const auto quad = DeviceQuad::make(item.map, 1, 1)) {
            QuadPainter::fill(_kernels, canvas.target, clip, item.color, *quad, inside.weight);
        }
        break;
    case Item::Kind::Picture:
        paintPicture(item, inside);
        break;
    case Item::Kind::Group:
        paintGroup(item, inside);
        break;
    case Item::Kind::Mask:
        paintMask(item, inside);
        break;
    }
}

// Only where members may overlap need they be drawn as one first. Elsewhere each fades by itself.
void DisplayListPainter::paintGroup(const Item &group, const Canvas &canvas) {
    GroupBuffers::Buffer &buffer = canvas.hand.buffers.take(canvas.clip.rect);
    mark(group, {buffer.shown, &buffer.shared, canvas.hand.sprites, false});
    if (canvas.clip.mask) {
        buffer.shown.keep(*canvas.clip.mask);
        buffer.shared.keep(*canvas.clip.mask);
    }
    buffer.shown.remove(buffer.shared);
    paintMembers(&group + 1, &group + group.length,
                 {canvas.hand, canvas.target, {canvas.clip.rect, &buffer.shown}, canvas.weight});
    if (!buffer.shared.isEmpty()) {
        paintShared(group, buffer, canvas);
    }
    canvas.hand.buffers.giveBack();
}

void DisplayListPainter::paintShared(const Item &group, GroupBuffers::Buffer &buffer,
                                     const Canvas &canvas) {
    const DeviceRect &area = buffer.shared.area();
    const PixelArea pixels = buffer.pixels(area);
    paintInto(pixels, buffer.shared, group, canvas.hand);
    QuadPainter::copyPicture(_kernels, canvas.target, {area, &buffer.shared},
                             {pixels.pixels, area.width(), area.height(), false}, area.left,
                             area.top, canvas.weight);
}

void DisplayListPainter::paintMask(const Item &group, const Canvas &canvas) {
    GroupBuffers::Buffer &buffer = canvas.hand.buffers.take(canvas.clip.rect);
    for (const Item *member = &group + 1; member < &group + group.length;
         member += member->length) {
        mark(*member, {buffer.shown, nullptr, canvas.hand.sprites, false});
    }
    if (canvas.clip.mask) {
        buffer.shown.keep(*canvas.clip.mask);
    }
    const DeviceRect &area = buffer.shown.area();
    const PixelArea pixels = buffer.pixels(area);
    paintInto(pixels, buffer.shown, group, canvas.hand);
    copyMasked(group, {pixels.pixels, area.width(), area.height(), false},
               {canvas.hand, canvas.target, {area, &buffer.shown}, canvas.weight});
    canvas.hand.buffers.giveBack();
}

// The picture fills the canvas's clip.
void DisplayListPainter::copyMasked(const Item &mask, const Picture &picture,
                                    const Canvas &canvas) {
    const PaintClip &clip = canvas.clip;
    if (mask.isInPerspective()) {
        if (const auto quad = ProjectiveQuad::make(mask.map, mask.depth)) {
            ProjectivePainter::copyMasked(canvas.target, clip, picture, canvas.weight, *quad);
        }
    } else if (const auto quad = DeviceQuad::make(mask.map, 1, 1)) {
        QuadPainter::copyMasked(_kernels, canvas.target, clip, picture, clip.rect.left,
                                clip.rect.top, canvas.weight, *quad);
    }
}

void DisplayListPainter::paintInto(const PixelArea &pixels, const CellMask &shown,
                                   const Item &group, Hand &hand) {
    const PaintClip clip{pixels.area, &shown};
    clear(pixels, clip, 0);
    paintMembers(&group + 1, &group + group.length, {hand, pixels, clip, kFullWeight});
}

void DisplayListPainter::paintPicture(const Item &item, const Canvas &canvas) {
    CGImage &image = *item.image;
    if (const Found *const found = foundOf(item); found && found->sprite) {
        canvas.hand.sprites.draw(canvas.target, canvas.clip, *found->sprite->texels,
                                 found->sprite->quad, canvas.weight,
                                 spansOf(*found, canvas.clip.rect));
    } else if (isCopy(item.map, image)) {
        QuadPainter::copyPicture(_kernels, canvas.target, canvas.clip, Picture::whole(image),
                                 static_cast<int>(std::round(item.map.tx)),
                                 static_cast<int>(std::round(item.map.ty)), canvas.weight);
    } else if (isWorthScaling(item)) {
        QuadPainter::copyColumns(_kernels, canvas.target, canvas.clip, scaledFor(item),
                                 canvas.weight);
    } else if (const auto sprite = sampled(item)) {
        SpritePainter &sprites = canvas.hand.sprites;
        sprites.draw(canvas.target, canvas.clip, *sprite->texels, sprite->quad, canvas.weight,
                     sprites.findShown(*sprite->texels, sprite->quad, canvas.clip.rect));
    }
}

const ColumnPicture &DisplayListPainter::scaledFor(const Item &item) {
    CGImage &image = *item.image;
    const Picture whole = Picture::whole(image);
    const Affine map = texelMap(item.map, whole.width, whole.height);
    const std::lock_guard lock(_preparing);
    return _scaled.scaled(image, {map.tx, map.a}, {map.ty, map.d}, item.bounds);
}

std::optional<DisplayListPainter::Sampled> DisplayListPainter::sampled(const Item &item) {
    const auto quadOf = [&](int width, int height) {
        return DeviceQuad::make(texelMap(item.map, width, height), width, height);
    };
    const Picture picture = Picture::whole(*item.image);
    auto quad = quadOf(picture.width, picture.height);
    if (!quad) {
        return std::nullopt;
    }
    const int halvingsX = halvings(quad->unitsX(), picture.width);
    const int halvingsY = halvings(quad->unitsY(), picture.height);
    const SpriteTexels &texels = texelsOf(*item.image, halvingsX, halvingsY);
    if (halvingsX > 0 || halvingsY > 0) {
        quad = quadOf(texels.width(), texels.height());
    }
    return quad ? std::optional(Sampled{&texels, *quad}) : std::nullopt;
}

const SpriteTexels &DisplayListPainter::texelsOf(CGImage &image, int halvingsX, int halvingsY) {
    const std::lock_guard lock(_preparing);
    return _pictures.texels(image, halvingsX, halvingsY);
}

void DisplayListPainter::paintInPerspective(const Item &item, const Canvas &canvas) {
    const auto quad = ProjectiveQuad::make(item.map, item.depth);
    if (!quad) {
        return;
    }
    if (item.kind == Item::Kind::Fill) {
        ProjectivePainter::fill(canvas.target, canvas.clip, item.color, *quad, canvas.weight);
        return;
    }
    const Picture picture = Picture::whole(*item.image);
    const CGSize units = quad->unitsWithin(item.bounds);
    const SpriteTexels &texels =
        texelsOf(*item.image, halvings(units.width * picture.width, picture.width),
                 halvings(units.height * picture.height, picture.height));
    ProjectivePainter::drawPicture(canvas.target, canvas.clip, texels, *quad, canvas.weight);
}

// An eighth of the screen and more is likely to stay where it is.
bool DisplayListPainter::isWorthScaling(const Item &item) const {
    return isUpright(item.map) && item.bounds.area() * 8 >= _device.area();
}

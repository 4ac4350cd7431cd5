#include "extensions/plasma/Viewer/PictureNode.h"

#include "extensions/plasma/Viewer/PictureTexture.h"

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>
#include <algorithm>

namespace Lumivera {

using PictureMessage::Rect;

namespace {

constexpr int kTile = 128;

bool overlaps(const Rect &a, const Rect &b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

QImage imageOf(const PictureViewer::Picture &picture, const Rect &part) {
    const std::size_t width = picture.memory->width();
    const auto *first = picture.pixels() + static_cast<std::size_t>(part.top) * width + part.left;
    return QImage(reinterpret_cast<const uchar *>(first), part.right - part.left,
                  part.bottom - part.top, static_cast<int>(width * 4), QImage::Format_RGB32)
        .copy();
}

} // namespace

PictureNode::PictureNode(QQuickWindow &window)
    : _window(window), _texture(PictureTexture::create()) {}

/// The nodes go first, because they refer to the texture.
PictureNode::~PictureNode() { cut(0); }

void PictureNode::show(const PictureViewer::Picture &picture, const QRectF &place) {
    const QSize size(static_cast<int>(picture.memory->width()),
                     static_cast<int>(picture.memory->height()));
    std::vector<Rect> damage = picture.damage;
    if (size != _size) {
        _size = size;
        _place = {};
        cut(_texture ? std::max(size.width(), size.height()) : kTile);
        damage = {{0, 0, size.width(), size.height()}};
    }
    _texture ? upload(picture, damage) : remakeTiles(picture, damage);
    if (place != _place) {
        putAt(place);
    }
}

/// Cuts the picture into squares, or, with side 0, removes all parts.
void PictureNode::cut(int side) {
    for (const Part &part : _parts) {
        removeChildNode(part.node);
        delete part.node;
    }
    _parts.clear();
    for (int top = 0; side > 0 && top < _size.height(); top += side) {
        for (int left = 0; left < _size.width(); left += side) {
            QSGImageNode *const node = _window.createImageNode();
            node->setOwnsTexture(true);
            _parts.push_back({{left, top, std::min(left + side, _size.width()),
                               std::min(top + side, _size.height())},
                              node});
        }
    }
}

void PictureNode::upload(const PictureViewer::Picture &picture, const std::vector<Rect> &damage) {
    QSGImageNode *const node = _parts.front().node;
    if (_texture->upload(picture, damage)) {
        const bool isNew = !node->texture();
        node->setTexture(_texture->wrap(_window));
        if (isNew) {
            appendChildNode(node);
        }
    }
    node->markDirty(DirtyMaterial);
}

void PictureNode::remakeTiles(const PictureViewer::Picture &picture,
                              const std::vector<Rect> &damage) {
    for (const Part &part : _parts) {
        if (std::none_of(damage.begin(), damage.end(),
                         [&part](const Rect &rect) { return overlaps(rect, part.rect); })) {
            continue;
        }
        const bool isNew = !part.node->texture();
        part.node->setTexture(_window.createTextureFromImage(imageOf(picture, part.rect),
                                                             QQuickWindow::TextureIsOpaque));
        part.node->markDirty(DirtyMaterial);
        if (isNew) {
            appendChildNode(part.node);
        }
    }
}

void PictureNode::putAt(const QRectF &place) {
    _place = place;
    const qreal across = place.width() / _size.width();
    const qreal down = place.height() / _size.height();
    for (const Part &part : _parts) {
        const Rect &rect = part.rect;
        part.node->setRect(place.x() + rect.left * across, place.y() + rect.top * down,
                           (rect.right - rect.left) * across, (rect.bottom - rect.top) * down);
        part.node->setSourceRect(0, 0, rect.right - rect.left, rect.bottom - rect.top);
        part.node->setFiltering(QSGTexture::Linear);
    }
}

} // namespace Lumivera

#include "extensions/plasma/Viewer/LivePicture.h"

#include "extensions/plasma/Viewer/PictureNode.h"

#include <QFileInfo>
#include <QMouseEvent>
#include <QQuickWindow>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QTouchEvent>
#include <algorithm>
#include <array>
#include <cmath>

namespace Lumivera {

namespace {

/// A tap may move that far, in points.
constexpr qreal kTapSlack = 8;

/// Milliseconds until the next attempt to connect: after a change of the folder, and without one.
constexpr int kSettling = 20;
constexpr std::array<int, 6> kPatience{250, 500, 1000, 2000, 5000, 15000};

/// Only the user may enter that folder; where it is missing, the host makes it.
QString hostFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + "/lumivera";
}

} // namespace

LivePicture::LivePicture(QQuickItem *parent) : QQuickItem(parent) {
    setFlag(ItemHasContents);
    _describe.setSingleShot(true);
    _describe.setInterval(0);
    connect(&_describe, &QTimer::timeout, this, &LivePicture::describe);
    _connect.setSingleShot(true);
    connect(&_connect, &QTimer::timeout, this, &LivePicture::connectNow);
    connect(&_folders, &QFileSystemWatcher::directoryChanged, this, [this] {
        watchFolder();
        if (!_viewer) {
            _patience = 0;
            _connect.start(kSettling);
        }
    });
    watchFolder();
    _connect.start(0);
}

LivePicture::~LivePicture() {
    if (_watched) {
        _watched->removeEventFilter(this);
    }
}

void LivePicture::setOutput(const QString &output) {
    if (output == _output) {
        return;
    }
    _output = output;
    disconnectNow();
    _connect.start(0);
    Q_EMIT outputChanged();
}

void LivePicture::setPointScale(qreal pointScale) {
    if (pointScale > 0 && pointScale != _pointScale) {
        _pointScale = pointScale;
        describeSoon();
        Q_EMIT pointScaleChanged();
    }
}

void LivePicture::setCover(int cover) {
    cover = std::clamp<int>(cover, Visible, Off);
    if (cover != _cover) {
        _cover = cover;
        describeSoon();
        Q_EMIT coverChanged();
    }
}

/// Runs while the GUI thread waits. The picture is read here, so its buffer is free afterwards.
QSGNode *LivePicture::updatePaintNode(QSGNode *old, UpdatePaintNodeData *) {
    if (_viewer && _viewer->hasPicture()) {
        _picture = _viewer->takePicture();
    }
    if (!_picture.memory || width() <= 0 || height() <= 0) {
        delete old;
        return nullptr;
    }
    auto *node = static_cast<PictureNode *>(old);
    if (!node) {
        node = new PictureNode(*window());
    }
    node->show(_picture, boundingRect());
    _picture.damage.clear();
    if (_viewer) {
        _viewer->release();
    }
    return node;
}

/// Every window sees its own events first, so watching them keeps none from the desktop.
void LivePicture::itemChange(ItemChange change, const ItemChangeData &value) {
    if (change == ItemSceneChange) {
        if (_watched) {
            _watched->removeEventFilter(this);
        }
        _watched = value.window;
        if (_watched) {
            _watched->installEventFilter(this);
        }
    }
    const bool isAway = (change == ItemSceneChange && !value.window) ||
                        (change == ItemVisibleHasChanged && !value.boolValue);
    if (isAway) {
        disconnectNow();
    } else if (change == ItemSceneChange || change == ItemVisibleHasChanged ||
               change == ItemDevicePixelRatioHasChanged) {
        describeSoon();
    }
    QQuickItem::itemChange(change, value);
}

bool LivePicture::eventFilter(QObject *watched, QEvent *event) {
    const auto type = event->type();
    if (type == QEvent::MouseButtonPress || type == QEvent::MouseButtonRelease) {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::LeftButton) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            const QPointF place = mouse->position();
#else
            const QPointF place = mouse->localPos();
#endif
            type == QEvent::MouseButtonPress ? pressed(place) : released(place);
        }
    } else if (type == QEvent::TouchBegin || type == QEvent::TouchEnd) {
        const auto *touch = static_cast<QTouchEvent *>(event);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        const auto &points = touch->points();
        const QPointF place = points.isEmpty() ? QPointF() : points.first().position();
#else
        const auto &points = touch->touchPoints();
        const QPointF place = points.isEmpty() ? QPointF() : points.first().pos();
#endif
        if (points.size() == 1) {
            type == QEvent::TouchBegin ? pressed(place) : released(place);
        }
    }
    return QQuickItem::eventFilter(watched, event);
}

#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
void LivePicture::geometryChange(const QRectF &now, const QRectF &before) {
    QQuickItem::geometryChange(now, before);
#else
void LivePicture::geometryChanged(const QRectF &now, const QRectF &before) {
    QQuickItem::geometryChanged(now, before);
#endif
    describeSoon();
    update();
}

qreal LivePicture::ratio() const { return window() ? window()->effectiveDevicePixelRatio() : 1; }

PictureMessage::Output LivePicture::description() const {
    const auto pixels = [this](qreal length) {
        const qreal side = std::round(length * ratio());
        return static_cast<std::uint32_t>(std::clamp<qreal>(side, 0, PictureMessage::kMaxSide));
    };
    PictureMessage::Output output;
    output.name = PictureMessage::shortened(_output.toStdString(), PictureMessage::kMaxName);
    output.width = pixels(width());
    output.height = pixels(height());
    output.visibility = static_cast<PictureMessage::Visibility>(_cover);
    output.density =
        std::clamp(ratio() * _pointScale, PictureMessage::kMinDensity, PictureMessage::kMaxDensity);
    return output;
}

/// An activity that is not the current one has items, too, which must leave the output to others.
bool LivePicture::canShow(const PictureMessage::Output &output) const {
    return window() && isVisible() && !output.name.empty() &&
           PictureMessage::isSize(output.width, output.height);
}

void LivePicture::describeSoon() { _describe.start(); }

/// Without a size there is nothing to say; the next one leads here again.
void LivePicture::describe() {
    const PictureMessage::Output output = description();
    if (!canShow(output)) {
        return;
    }
    if (!_viewer) {
        if (!_connect.isActive()) {
            _connect.start(0);
        }
    } else if (output != _told) {
        _told = output;
        _viewer->describe(output);
    }
}

/// Hears of the host's start without asking for it all the time.
void LivePicture::watchFolder() {
    const QString folder = hostFolder();
    const QString parent = QFileInfo(folder).path();
    const bool isThere = QFileInfo(folder).isDir();
    const QString wanted = isThere ? folder : parent;
    const QStringList watched = _folders.directories();
    if (!watched.contains(wanted)) {
        if (!watched.isEmpty()) {
            _folders.removePaths(watched);
        }
        _folders.addPath(wanted);
    }
}

void LivePicture::connectNow() {
    const PictureMessage::Output output = description();
    if (_viewer || !canShow(output)) {
        return;
    }
    watchFolder();
    _viewer = PictureViewer::connectTo(QFile::encodeName(hostFolder() + "/pictures").toStdString());
    if (!_viewer) {
        connectLater();
        return;
    }
    _isShown = false;
    _notifier = std::make_unique<QSocketNotifier>(_viewer->descriptor(), QSocketNotifier::Read);
    connect(_notifier.get(), &QSocketNotifier::activated, this, &LivePicture::receive);
    _told = output;
    _viewer->describe(output);
    Q_EMIT isConnectedChanged();
}

void LivePicture::connectLater() {
    _connect.start(kPatience[std::min(_patience, kPatience.size() - 1)]);
    ++_patience;
}

void LivePicture::receive() {
    if (!_viewer) {
        return;
    }
    if (!_viewer->receive()) {
        qInfo("Lumivera: %s", _viewer->problem().c_str());
        disconnectNow();
        connectLater();
        return;
    }
    if (_viewer->takeForgotten()) {
        Q_EMIT settingsForgotten();
    }
    if (_viewer->hasPicture()) {
        update();
        _patience = 0;
        if (!_isShown) {
            _isShown = true;
            Q_EMIT shown();
        }
        if (!_hasPicture) {
            _hasPicture = true;
            Q_EMIT hasPictureChanged();
        }
    }
}

/// The notifier is deleted later, because it may be the one that has led here.
void LivePicture::disconnectNow() {
    if (!_viewer) {
        return;
    }
    _notifier->setEnabled(false);
    _notifier.release()->deleteLater();
    _viewer.reset();
    Q_EMIT isConnectedChanged();
}

void LivePicture::pressed(const QPointF &place) {
    _isPressed = contains(mapFromScene(place));
    _press = place;
}

void LivePicture::released(const QPointF &place) {
    const QPointF moved = (place - _press) / _pointScale;
    const bool isTap = _isPressed && std::hypot(moved.x(), moved.y()) <= kTapSlack;
    _isPressed = false;
    if (isTap && _viewer) {
        const QPointF point = mapFromScene(_press) / _pointScale;
        _viewer->tap(point.x(), point.y());
    }
}

} // namespace Lumivera

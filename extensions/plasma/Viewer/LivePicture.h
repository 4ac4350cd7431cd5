#pragma once

#include "Host/Displays/Shared/PictureViewer.h"

#include <QFileSystemWatcher>
#include <QQuickItem>
#include <QTimer>
#include <memory>

class QSocketNotifier;

namespace Lumivera {

/// Shows what the host draws for one output. Keeps its last picture while there is no host, and
/// connects again by itself. Watches the clicks on its window without taking any. GUI thread, but
/// for updatePaintNode().
class LivePicture : public QQuickItem {
    Q_OBJECT

    /// The window system's name of the output.
    Q_PROPERTY(QString output READ output WRITE setOutput NOTIFY outputChanged)

    /// Units of this item a point, where the desktop scales without the toolkit; more than 0.
    Q_PROPERTY(qreal pointScale READ pointScale WRITE setPointScale NOTIFY pointScaleChanged)

    /// Whether anybody can see the output, a Cover.
    Q_PROPERTY(int cover READ cover WRITE setCover NOTIFY coverChanged)

    Q_PROPERTY(bool isConnected READ isConnected NOTIFY isConnectedChanged)
    Q_PROPERTY(bool hasPicture READ hasPicture NOTIFY hasPictureChanged)

  public:
    enum Cover { Visible = 0, Covered = 1, FullScreen = 2, Off = 3 };
    Q_ENUM(Cover)

    explicit LivePicture(QQuickItem *parent = nullptr);
    ~LivePicture() override;

    QString output() const { return _output; }
    void setOutput(const QString &output);
    qreal pointScale() const { return _pointScale; }
    void setPointScale(qreal pointScale);
    int cover() const { return _cover; }
    void setCover(int cover);
    bool isConnected() const { return _viewer != nullptr; }
    bool hasPicture() const { return _hasPicture; }

  Q_SIGNALS:
    void outputChanged();
    void pointScaleChanged();
    void coverChanged();
    void isConnectedChanged();
    void hasPictureChanged();

    /// The first picture of a connection is there: the host knows the output.
    void shown();

    /// The host has forgotten the settings that it was given.
    void settingsForgotten();

  protected:
    QSGNode *updatePaintNode(QSGNode *old, UpdatePaintNodeData *data) override;
    void itemChange(ItemChange change, const ItemChangeData &value) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    void geometryChange(const QRectF &now, const QRectF &before) override;
#else
    void geometryChanged(const QRectF &now, const QRectF &before) override;
#endif

  private:
    qreal ratio() const;
    PictureMessage::Output description() const;
    void describeSoon();
    void describe();
    void watchFolder();
    bool canShow(const PictureMessage::Output &output) const;
    void connectNow();
    void connectLater();
    void receive();
    void disconnectNow();
    void pressed(const QPointF &place);
    void released(const QPointF &place);

    QString _output;
    qreal _pointScale = 1;
    int _cover = Visible;

    std::unique_ptr<PictureViewer> _viewer;
    std::unique_ptr<QSocketNotifier> _notifier;
    PictureMessage::Output _told;
    bool _isShown = false;
    bool _hasPicture = false;

    /// What is shown; it outlives the connection.
    PictureViewer::Picture _picture;

    QFileSystemWatcher _folders;
    QTimer _describe;
    QTimer _connect;
    std::size_t _patience = 0;

    QQuickWindow *_watched = nullptr;
    bool _isPressed = false;
    QPointF _press;
};

} // namespace Lumivera

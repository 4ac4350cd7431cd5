#pragma once

#include "Host/Displays/Shared/PictureViewer.h"

#include <QRectF>
#include <QSGNode>
#include <QSize>
#include <memory>
#include <vector>

class QQuickWindow;
class QSGImageNode;
class QSGTexture;

namespace Lumivera {

class PictureTexture;

/// A picture in the scene. With OpenGL it is one texture, of which only the damage is uploaded;
/// elsewhere it is cut into tiles, and those with damage are made anew. Render thread.
class PictureNode final : public QSGNode {
  public:
    explicit PictureNode(QQuickWindow &window);
    ~PictureNode() override;

    /// Shows the picture in that place. A picture of another size is read as a whole.
    void show(const PictureViewer::Picture &picture, const QRectF &place);

  private:
    /// A part of the picture, in pixels, and the node that shows it.
    struct Part {
        PictureMessage::Rect rect;
        QSGImageNode *node;
    };

    void cut(int side);
    void upload(const PictureViewer::Picture &picture,
                const std::vector<PictureMessage::Rect> &damage);
    void remakeTiles(const PictureViewer::Picture &picture,
                     const std::vector<PictureMessage::Rect> &damage);
    void putAt(const QRectF &place);

    QQuickWindow &_window;
    QSize _size;
    QRectF _place;
    std::vector<Part> _parts;

    /// Null where textures are not OpenGL's.
    std::unique_ptr<PictureTexture> _texture;
};

} // namespace Lumivera

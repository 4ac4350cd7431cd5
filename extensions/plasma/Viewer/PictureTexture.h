#pragma once

#include "Host/Displays/Shared/PictureViewer.h"

#include <QSize>
#include <memory>
#include <vector>

class QQuickWindow;
class QSGTexture;

namespace Lumivera {

/// A texture of OpenGL's with a picture. Render thread, with its context current.
class PictureTexture {
  public:
    /// Null without OpenGL, and where it does not take the host's pixels as they are.
    static std::unique_ptr<PictureTexture> create();
    ~PictureTexture();
    PictureTexture(const PictureTexture &) = delete;
    PictureTexture &operator=(const PictureTexture &) = delete;

    /// Reads the damage from the picture, or all of it when it is of another size. True when the
    /// texture is a new one, which wants wrap().
    bool upload(const PictureViewer::Picture &picture,
                const std::vector<PictureMessage::Rect> &damage);

    /// For a node of the scene, which owns it; this object must outlive it.
    QSGTexture *wrap(QQuickWindow &window) const;

  private:
    explicit PictureTexture(bool isEmbedded) : _isEmbedded(isEmbedded) {}

    const bool _isEmbedded;
    unsigned _name = 0;
    QSize _size;
};

} // namespace Lumivera

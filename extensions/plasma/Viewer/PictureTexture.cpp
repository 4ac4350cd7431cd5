#include "extensions/plasma/Viewer/PictureTexture.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickWindow>
#include <QSGTexture>
#include <QtGlobal>
#include <utility>
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
#include <QtQuick/qsgtexture_platform.h>
#endif

namespace Lumivera {

namespace {

constexpr GLenum kBGRA = 0x80E1;
constexpr GLenum kRowLength = 0x0CF2;

/// Words 0xFFRRGGBB are BGRA in memory; parts of a picture need the length of its rows.
bool takesPixels(QOpenGLContext &context) {
    return !context.isOpenGLES() || (context.hasExtension("GL_EXT_texture_format_BGRA8888") &&
                                     (context.format().majorVersion() >= 3 ||
                                      context.hasExtension("GL_EXT_unpack_subimage")));
}

} // namespace

std::unique_ptr<PictureTexture> PictureTexture::create() {
    QOpenGLContext *const context = QOpenGLContext::currentContext();
    if (!context || Q_BYTE_ORDER != Q_LITTLE_ENDIAN || !takesPixels(*context)) {
        return nullptr;
    }
    return std::unique_ptr<PictureTexture>(new PictureTexture(context->isOpenGLES()));
}

PictureTexture::~PictureTexture() {
    QOpenGLContext *const context = QOpenGLContext::currentContext();
    if (_name != 0 && context) {
        context->functions()->glDeleteTextures(1, &_name);
    }
}

bool PictureTexture::upload(const PictureViewer::Picture &picture,
                            const std::vector<PictureMessage::Rect> &damage) {
    QOpenGLFunctions &gl = *QOpenGLContext::currentContext()->functions();
    const QSize size(static_cast<int>(picture.memory->width()),
                     static_cast<int>(picture.memory->height()));
    const bool isNew = _name == 0;
    if (isNew) {
        gl.glGenTextures(1, &_name);
    }
    GLint bound = 0;
    gl.glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    gl.glBindTexture(GL_TEXTURE_2D, _name);
    gl.glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    gl.glPixelStorei(kRowLength, size.width());
    const bool isResized = std::exchange(_size, size) != size;
    if (isResized) {
        gl.glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(_isEmbedded ? kBGRA : GL_RGBA),
                        size.width(), size.height(), 0, kBGRA, GL_UNSIGNED_BYTE, picture.pixels());
    } else {
        for (const PictureMessage::Rect &rect : damage) {
            gl.glTexSubImage2D(GL_TEXTURE_2D, 0, rect.left, rect.top, rect.right - rect.left,
                               rect.bottom - rect.top, kBGRA, GL_UNSIGNED_BYTE,
                               picture.pixels() +
                                   static_cast<std::ptrdiff_t>(rect.top) * size.width() +
                                   rect.left);
        }
    }
    gl.glPixelStorei(kRowLength, 0);
    gl.glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(bound));
    return isNew || isResized;
}

QSGTexture *PictureTexture::wrap(QQuickWindow &window) const {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QNativeInterface::QSGOpenGLTexture::fromNative(_name, &window, _size);
#else
    return window.createTextureFromNativeObject(QQuickWindow::NativeObjectTexture, &_name, 0,
                                                _size);
#endif
}

} // namespace Lumivera

#include "Benchmarks/Platform/Compositor/Comparison/Contender.h"

#ifdef LUMIVERA_WITH_OPENGL

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>

#include <cmath>

namespace {

constexpr char kVertexShader[] = R"(
attribute vec2 place;
attribute vec3 texel;
varying mediump vec3 sampled;
void main() {
    gl_Position = vec4(place, 0.0, 1.0);
    sampled = texel;
})";

/// Pixels are uploaded and read as they are in memory, so blue and red change places twice.
constexpr char kFragmentShader[] = R"(
precision mediump float;
varying mediump vec3 sampled;
uniform sampler2D picture;
void main() {
    gl_FragColor = texture2D(picture, sampled.xy) * sampled.z;
})";

/// A context without a window, which the whole program shares.
class Context {
  public:
    static const Context *shared() {
        static const Context context;
        return context._works ? &context : nullptr;
    }

    static std::string renderer() {
        return reinterpret_cast<const char *>(glGetString(GL_RENDERER));
    }

  private:
    Context() {
        const EGLDisplay display =
            eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        const EGLint wanted[] = {EGL_SURFACE_TYPE, 0, EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT,
                                 EGL_NONE};
        const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr) ||
            !eglBindAPI(EGL_OPENGL_ES_API) ||
            !eglChooseConfig(display, wanted, &config, 1, &count) || count == 0) {
            return;
        }
        const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
        _works = context != EGL_NO_CONTEXT &&
                 eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context);
    }

    bool _works = false;
};

GLuint shaderOf(GLenum kind, const char *text) {
    const GLuint shader = glCreateShader(kind);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    return shader;
}

GLuint textureOf(const std::uint32_t *pixels, int width, int height, GLint filter) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    return texture;
}

/// Draws into a texture: the background in one call, all petals in another.
class OpenGLContender final : public Contender {
  public:
    explicit OpenGLContender(const PetalScene &scene) : _scene(scene) {
        _program = glCreateProgram();
        for (const GLuint shader : {shaderOf(GL_VERTEX_SHADER, kVertexShader),
                                    shaderOf(GL_FRAGMENT_SHADER, kFragmentShader)}) {
            glAttachShader(_program, shader);
            glDeleteShader(shader);
        }
        glBindAttribLocation(_program, 0, "place");
        glBindAttribLocation(_program, 1, "texel");
        glLinkProgram(_program);
        _textures[0] = textureOf(nullptr, scene.width(), scene.height(), GL_NEAREST);
        _textures[1] =
            textureOf(scene.background().data(), scene.width(), scene.height(), GL_NEAREST);
        _textures[2] = textureOf(scene.petalPixels().data(), PetalScene::kPetalSide,
                                 PetalScene::kPetalSide, GL_LINEAR);
        glGenFramebuffers(1, &_framebuffer);
        glBindFramebuffer(GL_FRAMEBUFFER, _framebuffer);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, _textures[0],
                               0);
        glGenBuffers(1, &_buffer);
        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    }

    ~OpenGLContender() override {
        glDeleteBuffers(1, &_buffer);
        glDeleteFramebuffers(1, &_framebuffer);
        glDeleteTextures(3, _textures);
        glDeleteProgram(_program);
    }

    void draw() override {
        glBindFramebuffer(GL_FRAMEBUFFER, _framebuffer);
        glViewport(0, 0, _scene.width(), _scene.height());
        glUseProgram(_program);
        _vertices.clear();
        addQuad(_scene.width() / 2.0, _scene.height() / 2.0, _scene.width() / 2.0,
                _scene.height() / 2.0, 0, 1);
        for (const PetalScene::Petal &petal : _scene.petals()) {
            addQuad(petal.x, petal.y, PetalScene::kPetalSide / 2.0, PetalScene::kPetalSide / 2.0,
                    petal.angle, petal.alpha);
        }
        glBindBuffer(GL_ARRAY_BUFFER, _buffer);
        glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(_vertices.size() * sizeof(Vertex)),
                     _vertices.data(), GL_STREAM_DRAW);
        glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, sizeof(Vertex), nullptr);
        glVertexAttribPointer(1, 3, GL_FLOAT, GL_FALSE, sizeof(Vertex),
                              reinterpret_cast<const void *>(2 * sizeof(float)));
        glEnableVertexAttribArray(0);
        glEnableVertexAttribArray(1);
        glDisable(GL_BLEND);
        glBindTexture(GL_TEXTURE_2D, _textures[1]);
        glDrawArrays(GL_TRIANGLES, 0, 6);
        glEnable(GL_BLEND);
        glBindTexture(GL_TEXTURE_2D, _textures[2]);
        glDrawArrays(GL_TRIANGLES, 6, static_cast<GLsizei>(_vertices.size()) - 6);
        glFinish();
    }

    PixelBuffer pixels() override {
        PixelBuffer result(_scene.background().size());
        glBindFramebuffer(GL_FRAMEBUFFER, _framebuffer);
        glReadPixels(0, 0, _scene.width(), _scene.height(), GL_RGBA, GL_UNSIGNED_BYTE,
                     result.data());
        return result;
    }

  private:
    struct Vertex {
        float x, y, u, v, alpha;
    };

    void addQuad(double x, double y, double halfWidth, double halfHeight, double angle,
                 double alpha) {
        const double cosine = std::cos(angle);
        const double sine = std::sin(angle);
        const auto corner = [&](int u, int v) -> Vertex {
            const double right = (2 * u - 1) * halfWidth;
            const double down = (2 * v - 1) * halfHeight;
            const double px = x + cosine * right - sine * down;
            const double py = y + sine * right + cosine * down;
            return {static_cast<float>(px / _scene.width() * 2 - 1),
                    static_cast<float>(py / _scene.height() * 2 - 1), static_cast<float>(u),
                    static_cast<float>(v), static_cast<float>(alpha)};
        };
        const Vertex corners[] = {corner(0, 0), corner(1, 0), corner(1, 1), corner(0, 1)};
        for (const int i : {0, 1, 2, 0, 2, 3}) {
            _vertices.push_back(corners[i]);
        }
    }

    const PetalScene &_scene;
    GLuint _program = 0;
    GLuint _framebuffer = 0;
    GLuint _buffer = 0;
    GLuint _textures[3] = {};
    std::vector<Vertex> _vertices;
};

} // namespace

std::vector<ContenderKind> openGLContenders() {
    if (!Context::shared()) {
        return {};
    }
    const bool isSoftware = Context::renderer().find("llvmpipe") != std::string::npos;
    return {{isSoftware ? "gles llvmpipe" : "gles " + Context::renderer(),
             [](const PetalScene &scene) { return std::make_unique<OpenGLContender>(scene); }}};
}

#else

std::vector<ContenderKind> openGLContenders() { return {}; }

#endif

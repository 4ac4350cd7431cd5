#pragma once

#include "Host/Displays/Shared/PictureMessage.h"
#include "Host/Support/PacketSocket.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Lumivera {

/// Pictures that the host draws, mapped for reading. They stay readable when the host has ended.
class PictureMemory {
  public:
    /// Owns the descriptor. Null when its memory is not exactly that large, or when somebody could
    /// make it smaller, so that reading it would end this process.
    static std::shared_ptr<const PictureMemory> map(int descriptor,
                                                    const PictureMessage::Memory &message);
    ~PictureMemory();
    PictureMemory(const PictureMemory &) = delete;
    PictureMemory &operator=(const PictureMemory &) = delete;

    std::uint32_t number() const { return _message.number; }
    std::uint32_t width() const { return _message.width; }
    std::uint32_t height() const { return _message.height; }
    std::uint32_t buffers() const { return _message.buffers; }

    /// The pixels of a buffer below buffers(), as words 0xFFRRGGBB; rows follow one another.
    const std::uint32_t *pixels(std::uint32_t buffer) const {
        return _pixels + std::size_t{buffer} * width() * height();
    }

  private:
    PictureMemory(const PictureMessage::Memory &message, const std::uint32_t *pixels)
        : _message(message), _pixels(pixels) {}

    const PictureMessage::Memory _message;
    const std::uint32_t *const _pixels;
};

/// The viewer's end of a connection to the host: shows one output. It trusts nothing that the host
/// sends; a host that breaks a rule is left. Uses nothing else of this program but PacketSocket and
/// PictureMessage, because extensions are built with it. One thread.
class PictureViewer {
  public:
    /// Connects to the host that listens at the path, if it is of this user or of root; null
    /// without one.
    static std::unique_ptr<PictureViewer> connectTo(const std::string &path);

    explicit PictureViewer(PacketSocket connection) : _connection(std::move(connection)) {}

    /// Readable when the host has sent something, and when the connection has ended.
    int descriptor() const { return _connection.descriptor(); }

    /// Tells the host the output, or what has changed of it.
    void describe(const PictureMessage::Output &output);

    /// Tells of a tap, in points from the output's top left corner.
    void tap(double x, double y);

    /// Takes what the host has sent. False when the connection has ended; why is in problem().
    bool receive();

    const std::string &problem() const { return _problem; }

    /// Whether the host has forgotten values that were set, since the last call.
    bool takeForgotten() { return std::exchange(_hasForgotten, false); }

    /// True when there is a picture that was not taken yet.
    bool hasPicture() const { return _isNew; }

    struct Picture {
        std::shared_ptr<const PictureMemory> memory;
        std::uint32_t buffer = 0;

        /// What differs from the picture that was taken before, in pixels; at first everything.
        std::vector<PictureMessage::Rect> damage;

        const std::uint32_t *pixels() const { return memory->pixels(buffer); }
    };

    /// The newest picture. The host draws no other one before release().
    Picture takePicture();

    /// The picture was read: the host may draw into its buffer.
    void release();

  private:
    void send(const PictureMessage::FromViewer &message);
    void takeMessage(const std::uint8_t *bytes, std::size_t count, int attached);
    void take(const PictureMessage::Memory &message, int attached);
    void take(const PictureMessage::Frame &frame);
    void end(const std::string &problem);

    const PacketSocket _connection;
    std::string _problem;
    bool _hasEnded = false;
    bool _hasForgotten = false;

    /// The memory that the host sent last, and what is shown, which may be of an older one.
    std::shared_ptr<const PictureMemory> _memory;
    Picture _picture;
    bool _isNew = false;

    /// True from a frame until its buffer is released.
    bool _isHeld = false;
};

} // namespace Lumivera

#pragma once

#include "Host/Rendering/FrameSink.h"
#include "Host/Support/OutputFile.h"

#include <optional>
#include <vector>

namespace Lumivera {

/// Writes the last frame as a PNG file.
class PictureSink final : public FrameSink {
  public:
    PictureSink(const std::string &path, const Format &format);

    bool wantsFrame(NSUInteger frame) const override { return frame + 1 == _format.frameCount; }
    void writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) override;
    void finish() override;

  private:
    const Format _format;
    OutputFile _file;
};

/// A file name with a place for a number: exactly one %d, or %0Nd with N from 1 to 9.
class NumberPattern {
  public:
    /// Nothing when the path has no or several places, another per cent sign, or the place in a
    /// folder's name.
    static std::optional<NumberPattern> parse(const std::string &path);

    std::string pathFor(NSUInteger number) const;

  private:
    std::string _before;
    std::string _after;
    std::size_t _width = 0;
};

/// Writes a PNG file a frame, numbered from 0.
class PictureSequenceSink final : public FrameSink {
  public:
    PictureSequenceSink(NumberPattern pattern, const Format &format);
    ~PictureSequenceSink() override;

    void writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) override;
    void finish() override { _written.clear(); }

  private:
    const NumberPattern _pattern;
    const Format _format;
    std::vector<std::string> _written;
};

} // namespace Lumivera

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

/// Converts the colours that a picture file describes to sRGB. Empty when the file describes sRGB
/// itself (to within one level of 255), or when its description is damaged or absurd. Never
/// changes. Any thread.
class ColorConversion {
  public:
    /// The source format of convert(): four bytes a pixel, or four big-endian 16-bit words. Greys
    /// have three equal colours; inks are cyan, magenta, yellow, key.
    enum class Pixels { Greys, Colors, GreyWords, ColorWords, Inks, InvertedInks };

    /// The x and y of the red, green and blue primaries and of white.
    struct Chromaticities {
        double red[2], green[2], blue[2], white[2];
    };

    /// Larger profiles are ignored. Profiles of printing presses take about half of this.
    static constexpr std::size_t kMaxProfileBytes = std::size_t{4} << 20;

    ColorConversion() = default;

    /// From an ICC profile of the picture's kind of colours.
    static ColorConversion fromProfile(std::span<const std::uint8_t> profile, Pixels pixels);

    /// From values that are light to the power of `gamma` (1 is linear) with these primaries.
    /// sRGB's stand in for either that is missing.
    static ColorConversion fromGamma(std::optional<double> gamma,
                                     const std::optional<Chromaticities> &chromaticities,
                                     Pixels pixels);

    explicit operator bool() const noexcept { return _transform != nullptr; }

    /// Writes pixels of four bytes red, green, blue, alpha; those of inks are opaque. `from` and
    /// `to` may be the same when the source has four bytes a pixel too.
    void convert(const std::uint8_t *from, std::uint8_t *to, std::size_t count) const;

  private:
    ColorConversion(std::shared_ptr<void> transform, Pixels pixels);

    using Sample = std::array<int, 3>;

    /// Converts one 8-bit colour; for inks, key is as much as cyan.
    Sample converted(const Sample &color) const;
    bool isSound() const;
    bool isNeeded() const;
    ColorConversion orNothing() &&;

    std::shared_ptr<void> _transform;
    Pixels _pixels = Pixels::Colors;
    std::array<std::uint8_t, 256> _greys{}; // the result for each grey of Pixels::Greys
};

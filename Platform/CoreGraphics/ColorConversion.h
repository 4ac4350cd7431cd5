#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

/// The way from the colours that a picture file describes to sRGB. Empty where there is nothing to
/// do: the file describes sRGB itself to within a level, or what it says is damaged or absurd.
/// Never changes. Any thread.
class ColorConversion {
  public:
    /// What convert() reads: four bytes a pixel, or four words with the high byte first. Of greys
    /// all three colours are the same; inks are cyan, magenta, yellow, key.
    enum class Pixels { Greys, Colors, GreyWords, ColorWords, Inks, InvertedInks };

    /// Of the red, green and blue primaries and of white.
    struct Chromaticities {
        double red[2], green[2], blue[2], white[2];
    };

    /// Larger profiles are not looked at; those of printing presses take half of it.
    static constexpr std::size_t kLargestProfile = std::size_t{4} << 20;

    ColorConversion() = default;

    /// From an ICC profile of the picture's kind of colours.
    static ColorConversion fromProfile(std::span<const std::uint8_t> profile, Pixels pixels);

    /// From values that are light to the power of `gamma` (1 is linear) with these primaries; for
    /// either that is missing, sRGB's.
    static ColorConversion fromGamma(std::optional<double> gamma,
                                     const std::optional<Chromaticities> &chromaticities,
                                     Pixels pixels);

    explicit operator bool() const noexcept { return _transform != nullptr; }

    /// Makes pixels of four bytes red, green, blue, alpha; of inks these are opaque. Both places
    /// may be the same where the pixels read have four bytes as well.
    void convert(const std::uint8_t *from, std::uint8_t *to, std::size_t count) const;

  private:
    ColorConversion(std::shared_ptr<void> transform, Pixels pixels);

    using Sample = std::array<int, 3>;

    /// What comes of a colour of 8 bits; of inks, with as much key as cyan.
    Sample converted(const Sample &color) const;
    bool isSound() const;
    bool isNeeded() const;
    ColorConversion orNothing() &&;

    std::shared_ptr<void> _transform;
    Pixels _pixels = Pixels::Colors;
    std::array<std::uint8_t, 256> _greys{}; // what comes of each, where the pixels are greys
};

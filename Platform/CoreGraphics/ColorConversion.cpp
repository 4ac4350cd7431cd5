#include "Platform/CoreGraphics/ColorConversion.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <lcms2.h>
#include <lcms2_plugin.h>

namespace {

using Pixels = ColorConversion::Pixels;

/// Limits the library's allocations: a profile of a few bytes may ask for tables of any size.
constexpr cmsUInt32Number kMaxTableBytes = 32u << 20;

void *allocate(cmsContext, cmsUInt32Number size) {
    return size > kMaxTableBytes ? nullptr : std::malloc(size);
}

void release(cmsContext, void *memory) { std::free(memory); }

void *reallocate(cmsContext, void *memory, cmsUInt32Number size) {
    return size > kMaxTableBytes ? nullptr : std::realloc(memory, size);
}

using Context = std::shared_ptr<_cmsContext_struct>;

/// The context has no logger, so that the library prints no errors.
Context makeContext() {
    static cmsPluginMemHandler memory{{cmsPluginMagicNumber, 2000, cmsPluginMemHandlerSig, nullptr},
                                      allocate,
                                      release,
                                      reallocate,
                                      nullptr,
                                      nullptr,
                                      nullptr};
    return {cmsCreateContext(&memory, nullptr), [](cmsContext context) {
                if (context) {
                    cmsDeleteContext(context);
                }
            }};
}

struct ProfileCloser {
    void operator()(void *profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;

struct CurveDeleter {
    void operator()(cmsToneCurve *curve) const { cmsFreeToneCurve(curve); }
};
using Curve = std::unique_ptr<cmsToneCurve, CurveDeleter>;

bool isGrey(Pixels pixels) { return pixels == Pixels::Greys || pixels == Pixels::GreyWords; }
bool isInks(Pixels pixels) { return pixels == Pixels::Inks || pixels == Pixels::InvertedInks; }
bool areWords(Pixels pixels) { return pixels == Pixels::GreyWords || pixels == Pixels::ColorWords; }

cmsUInt32Number formatOf(Pixels pixels) {
    constexpr cmsUInt32Number kGrey = COLORSPACE_SH(PT_GRAY) | CHANNELS_SH(1) | EXTRA_SH(3);
    switch (pixels) {
    case Pixels::Greys:
        return kGrey | BYTES_SH(1);
    case Pixels::Colors:
        return TYPE_RGBA_8;
    case Pixels::GreyWords:
        return kGrey | BYTES_SH(2) | ENDIAN16_SH(1);
    case Pixels::ColorWords:
        return TYPE_RGBA_16_SE;
    case Pixels::Inks:
        return TYPE_CMYK_8;
    case Pixels::InvertedInks:
        break;
    }
    return TYPE_CMYK_8_REV;
}

cmsColorSpaceSignature spaceOf(Pixels pixels) {
    return isGrey(pixels) ? cmsSigGrayData : isInks(pixels) ? cmsSigCmykData : cmsSigRgbData;
}

bool describesADevice(cmsHPROFILE profile) {
    switch (cmsGetDeviceClass(profile)) {
    case cmsSigInputClass:
    case cmsSigDisplayClass:
    case cmsSigOutputClass:
    case cmsSigColorSpaceClass:
        return true;
    default:
        return false;
    }
}

/// True for a profile with chains of processing steps. Their number has no limit, so that a small
/// profile could take hours to apply.
bool hasChains(cmsHPROFILE profile) {
    return cmsIsTag(profile, cmsSigDToB0Tag) || cmsIsTag(profile, cmsSigDToB1Tag) ||
           cmsIsTag(profile, cmsSigDToB2Tag) || cmsIsTag(profile, cmsSigDToB3Tag);
}

Curve sRGBCurve(const Context &context) {
    const cmsFloat64Number parameters[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    return Curve(cmsBuildParametricToneCurve(context.get(), 4, parameters));
}

double encodedAsSRGB(double light) {
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

/// True when the curve is sRGB's to within one level of 255.
bool isSRGBCurve(const cmsToneCurve *curve) {
    constexpr int kSteps = 51;
    for (int i = 0; curve && i <= kSteps; ++i) {
        const float value = static_cast<float>(i) / kSteps;
        const double light = std::max(0.0F, cmsEvalToneCurveFloat(curve, value));
        if (std::abs(encodedAsSRGB(light) - static_cast<double>(value)) > 1.0 / 255) {
            return false;
        }
    }
    return curve != nullptr;
}

/// True for a profile whose primaries and curves are sRGB's, as in most photographs. Comparing them
/// takes much less time than making a transform.
bool isPlainSRGB(cmsHPROFILE profile) {
    struct Channel {
        cmsTagSignature primary, curve;
        double xyz[3]; // sRGB's, adapted to D50
    };
    constexpr Channel kChannels[] = {
        {cmsSigRedColorantTag, cmsSigRedTRCTag, {0.43607, 0.22249, 0.01392}},
        {cmsSigGreenColorantTag, cmsSigGreenTRCTag, {0.38515, 0.71687, 0.09708}},
        {cmsSigBlueColorantTag, cmsSigBlueTRCTag, {0.14307, 0.06061, 0.71410}}};
    constexpr double kTolerance = 0.001;
    const auto isSRGB = [profile](const Channel &channel) {
        const auto *xyz = static_cast<const cmsCIEXYZ *>(cmsReadTag(profile, channel.primary));
        return xyz && std::abs(xyz->X - channel.xyz[0]) < kTolerance &&
               std::abs(xyz->Y - channel.xyz[1]) < kTolerance &&
               std::abs(xyz->Z - channel.xyz[2]) < kTolerance &&
               isSRGBCurve(static_cast<const cmsToneCurve *>(cmsReadTag(profile, channel.curve)));
    };
    return cmsGetColorSpace(profile) == cmsSigRgbData && !cmsIsTag(profile, cmsSigAToB0Tag) &&
           !cmsIsTag(profile, cmsSigAToB1Tag) &&
           std::all_of(std::begin(kChannels), std::end(kChannels), isSRGB);
}

/// Many files of sRGB pixels give the gamma 1 / 2.2, which approximates the sRGB curve.
bool standsForSRGB(double gamma) {
    constexpr double kSRGB = 0.45455, kTolerance = 0.05;
    return std::abs(gamma / kSRGB - 1) < kTolerance;
}

constexpr ColorConversion::Chromaticities kSRGBPrimaries{
    {0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, {0.3127, 0.3290}};

/// Allows for the rounding in files, which changes no colour by a level.
bool areSRGB(const ColorConversion::Chromaticities &c) {
    constexpr double kTolerance = 0.0005;
    const auto isNear = [](const double(&a)[2], const double(&b)[2]) {
        return std::abs(a[0] - b[0]) < kTolerance && std::abs(a[1] - b[1]) < kTolerance;
    };
    return isNear(c.red, kSRGBPrimaries.red) && isNear(c.green, kSRGBPrimaries.green) &&
           isNear(c.blue, kSRGBPrimaries.blue) && isNear(c.white, kSRGBPrimaries.white);
}

Profile profileOf(const Context &context, const Curve &curve, Pixels pixels,
                  const ColorConversion::Chromaticities &primaries) {
    if (isGrey(pixels)) {
        return Profile(cmsCreateGrayProfileTHR(context.get(), cmsD50_xyY(), curve.get()));
    }
    const auto point = [](const double(&xy)[2]) { return cmsCIExyY{xy[0], xy[1], 1}; };
    const cmsCIExyY white = point(primaries.white);
    const cmsCIExyYTRIPLE triple{point(primaries.red), point(primaries.green),
                                 point(primaries.blue)};
    cmsToneCurve *const curves[] = {curve.get(), curve.get(), curve.get()};
    return Profile(cmsCreateRGBProfileTHR(context.get(), &white, &triple, curves));
}

/// Null when the profile lacks what a transform needs. The library's optimisation is off for grey
/// profiles, where it makes dark greys black.
std::shared_ptr<void> transformFrom(const Context &context, const Profile &profile, Pixels pixels) {
    const Profile target(cmsCreate_sRGBProfileTHR(context.get()));
    if (!profile || !target) {
        return nullptr;
    }
    cmsUInt32Number flags = cmsFLAGS_BLACKPOINTCOMPENSATION;
    if (isGrey(pixels)) {
        flags |= cmsFLAGS_NOOPTIMIZE;
    }
    void *const transform =
        cmsCreateTransformTHR(context.get(), profile.get(), formatOf(pixels), target.get(),
                              TYPE_RGBA_8, INTENT_RELATIVE_COLORIMETRIC, flags);
    // The context owns the transform's memory, so the deleter keeps it alive.
    return {transform, [context](void *owned) {
                if (owned) {
                    cmsDeleteTransform(owned);
                }
            }};
}

} // namespace

ColorConversion ColorConversion::fromProfile(std::span<const std::uint8_t> profile, Pixels pixels) {
    const Context context = makeContext();
    if (!context || profile.empty() || profile.size() > kMaxProfileBytes) {
        return {};
    }
    const Profile opened(cmsOpenProfileFromMemTHR(context.get(), profile.data(),
                                                  static_cast<cmsUInt32Number>(profile.size())));
    if (!opened || cmsGetColorSpace(opened.get()) != spaceOf(pixels) ||
        !describesADevice(opened.get()) || hasChains(opened.get()) || isPlainSRGB(opened.get())) {
        return {};
    }
    return ColorConversion(transformFrom(context, opened, pixels), pixels).orNothing();
}

ColorConversion ColorConversion::fromGamma(std::optional<double> gamma,
                                           const std::optional<Chromaticities> &chromaticities,
                                           Pixels pixels) {
    const bool hasSRGBGamma = !gamma || standsForSRGB(*gamma);
    if (hasSRGBGamma && (!chromaticities || areSRGB(*chromaticities))) {
        return {};
    }
    const Context context = makeContext();
    if (!context) {
        return {};
    }
    const Curve curve =
        hasSRGBGamma ? sRGBCurve(context) : Curve(cmsBuildGamma(context.get(), 1 / *gamma));
    const Profile made = profileOf(context, curve, pixels, chromaticities.value_or(kSRGBPrimaries));
    return ColorConversion(transformFrom(context, made, pixels), pixels).orNothing();
}

ColorConversion::ColorConversion(std::shared_ptr<void> transform, Pixels pixels)
    : _transform(std::move(transform)), _pixels(pixels) {
    for (int grey = 0; _transform && _pixels == Pixels::Greys && grey < 256; ++grey) {
        const std::uint8_t from[4] = {static_cast<std::uint8_t>(grey)};
        std::uint8_t to[4] = {};
        cmsDoTransform(_transform.get(), from, to, 1);
        _greys[static_cast<std::size_t>(grey)] = to[1];
    }
}

void ColorConversion::convert(const std::uint8_t *from, std::uint8_t *to, std::size_t count) const {
    if (_pixels == Pixels::Greys) {
        for (std::size_t i = 0; i < count * 4; i += 4) {
            const std::uint8_t grey = _greys[from[i]];
            const std::uint8_t pixel[] = {grey, grey, grey, from[i + 3]};
            std::memcpy(to + i, pixel, sizeof pixel);
        }
        return;
    }
    cmsDoTransform(_transform.get(), from, to, static_cast<cmsUInt32Number>(count));
    if (isInks(_pixels)) {
        for (std::size_t i = 0; i < count; ++i) {
            to[i * 4 + 3] = 0xff;
        }
    } else if (areWords(_pixels)) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t alpha = std::uint32_t{from[i * 8 + 6]} << 8 | from[i * 8 + 7];
            to[i * 4 + 3] = static_cast<std::uint8_t>((alpha * 255 + 32895) >> 16);
        }
    }
}

ColorConversion::Sample ColorConversion::converted(const Sample &color) const {
    const int components[] = {color[0], color[1], color[2], isInks(_pixels) ? color[0] : 0xff};
    const std::size_t width = areWords(_pixels) ? 2 : 1;
    std::array<std::uint8_t, 8> from{};
    for (std::size_t i = 0; i < 4 * width; ++i) {
        from[i] = static_cast<std::uint8_t>(components[i / width]);
    }
    std::array<std::uint8_t, 4> to{};
    convert(from.data(), to.data(), 1);
    return {to[0], to[1], to[2]};
}

/// True when black stays dark, white stays light and middle grey lies between them.
bool ColorConversion::isSound() const {
    const auto lightness = [this](int value) {
        const Sample color = converted({value, value, value});
        return (color[0] + color[1] + color[2]) / 3;
    };
    const int black = _pixels == Pixels::Inks ? 255 : 0;
    const int grey = lightness(128);
    return lightness(black) <= 64 && lightness(255 - black) >= 192 &&
           (isInks(_pixels) || (grey >= 16 && grey <= 240));
}

bool ColorConversion::isNeeded() const {
    constexpr int kStep = 17;
    const auto changes = [this](const Sample &color) {
        const Sample result = converted(color);
        return std::abs(result[0] - color[0]) > 1 || std::abs(result[1] - color[1]) > 1 ||
               std::abs(result[2] - color[2]) > 1;
    };
    for (int i = 0; i < 256; ++i) {
        if (changes({i, i, i})) {
            return true;
        }
    }
    for (int i = 0; i < 16 * 16 * 16 && !isGrey(_pixels); ++i) {
        if (changes({i / 256 * kStep, i / 16 % 16 * kStep, i % 16 * kStep})) {
            return true;
        }
    }
    return false;
}

ColorConversion ColorConversion::orNothing() && {
    return _transform && isSound() && isNeeded() ? std::move(*this) : ColorConversion();
}

// Measures the operations on a picture of 1920 × 1080 pixels beside the drawing library used
// directly and beside the convert program, in the same run: milliseconds of processor time, the
// best of many, and ours as a multiple of theirs. The program's time includes its start and the
// reading of its uncompressed input, which startBesideImageMagick measures alone.

#include "Animation/Common/ImageSet.h"
#include "Animation/Common/NSData+DataEncrypt.h"

#include <benchmark/benchmark.h>
#include <cairo.h>
#include <pixman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sys/resource.h>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kBytes = std::size_t{4} * kWidth * kHeight;
constexpr double kRed = 0.75, kGreen = 0.5, kBlue = 0.25;

/// The wallpaper's background; with `fades`, increasingly transparent towards the right.
Retained<UIImage> picture(bool fades) {
    const auto file = UIImage::imageWithContentsOfFile(
        LUMIVERA_SOURCE_DIR "/Wallpapers/Lumivera.bundle/lumivera_background_.png");
    const auto part =
        SpriteExtend::clipImageWithRect(file.get(), CGRectMake(0, 0, kWidth, kHeight));
    if (!fades) {
        return part;
    }
    PixelBuffer light(kWidth);
    for (std::uint32_t x = 0; x < kWidth; ++x) {
        light[x] = 0xff000000 | x * 255 / (kWidth - 1) * 0x010101;
    }
    const auto mask = UIImage::imageWithCGImage_scale_orientation(
        CGImage::imageWithPixels(kWidth, 1, std::move(light)), 1, UIImageOrientation::Up);
    return ImageSet::maskImage_withImage(part.get(), mask.get());
}

Retained<UIColor> color() { return UIColor::colorWithRed_green_blue_alpha(kRed, kGreen, kBlue, 1); }

double processorSeconds() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double childrensSeconds() {
    rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

template <class Work> double secondsOf(Work work) {
    const double start = processorSeconds() + childrensSeconds();
    work();
    return processorSeconds() + childrensSeconds() - start;
}

/// Lets both sides take turns, so that other work on the machine affects both alike.
template <class Ours, class Theirs>
void compare(benchmark::State &state, Ours ours, Theirs theirs) {
    double best = std::numeric_limits<double>::infinity(), theirBest = best;
    for (auto _ : state) {
        best = std::min(best, secondsOf(ours));
        theirBest = std::min(theirBest, secondsOf(theirs));
    }
    state.counters["ours_ms"] = best * 1000;
    state.counters["theirs_ms"] = theirBest * 1000;
    state.counters["ratio"] = best / theirBest;
}

cairo_surface_t *surfaceOf(const UIImage &image) {
    auto *pixels = const_cast<std::uint32_t *>(image.bitmap()->pixels());
    return cairo_image_surface_create_for_data(reinterpret_cast<unsigned char *>(pixels),
                                               CAIRO_FORMAT_ARGB32, kWidth, kHeight, kWidth * 4);
}

/// Calls draw(drawing, source) for a new picture of that format.
template <class Draw>
void drawWithCairo(const UIImage &image, cairo_format_t format, const Draw &draw) {
    cairo_surface_t *source = surfaceOf(image);
    cairo_surface_t *target = cairo_image_surface_create(format, kWidth, kHeight);
    cairo_t *drawing = cairo_create(target);
    draw(drawing, source);
    cairo_surface_flush(target);
    benchmark::DoNotOptimize(cairo_image_surface_get_data(target));
    cairo_destroy(drawing);
    cairo_surface_destroy(target);
    cairo_surface_destroy(source);
}

void paintWithCairo(const UIImage &image, cairo_operator_t mode) {
    drawWithCairo(image, CAIRO_FORMAT_ARGB32, [&](cairo_t *drawing, cairo_surface_t *source) {
        cairo_set_source_rgb(drawing, kRed, kGreen, kBlue);
        cairo_mask_surface(drawing, source, 0, 0);
        cairo_set_operator(drawing, mode);
        cairo_set_source_surface(drawing, source, 0, 0);
        cairo_paint(drawing);
    });
}

void tintBesideCairo(benchmark::State &state) {
    const auto image = picture(state.range(0) != 0);
    const auto shade = color();
    compare(
        state,
        [&] { benchmark::DoNotOptimize(ImageSet::colorizeImage_withColor(image, shade.get())); },
        [&] { paintWithCairo(*image, CAIRO_OPERATOR_MULTIPLY); });
}

void overlayBesideCairo(benchmark::State &state) {
    const auto image = picture(state.range(0) != 0);
    const auto shade = color();
    compare(
        state,
        [&] {
            benchmark::DoNotOptimize(SpriteExtend::imageColorOverlay(image.get(), shade.get()));
        },
        [&] { paintWithCairo(*image, CAIRO_OPERATOR_OVERLAY); });
}

/// A palette of 256 greys with a lookup table by 15 bits of luminance.
pixman_indexed_t greyPalette() {
    pixman_indexed_t palette{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        palette.rgba[i] = 0xff000000 | i * 0x010101;
    }
    for (std::uint32_t i = 0; i < 32768; ++i) {
        palette.ent[i] = static_cast<pixman_index_type>(i >> 7);
    }
    return palette;
}

void copyWithPixman(pixman_image_t *source, pixman_image_t *target) {
    pixman_image_composite32(PIXMAN_OP_SRC, source, nullptr, target, 0, 0, 0, 0, 0, 0, kWidth,
                             kHeight);
}

/// Converts to grey samples and from them to a picture, which is what our operation returns.
void turnGreyWithPixman(const UIImage &image, const pixman_indexed_t &palette) {
    auto *pixels = const_cast<std::uint32_t *>(image.bitmap()->pixels());
    pixman_image_t *source =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight, pixels, kWidth * 4);
    pixman_image_t *grey = pixman_image_create_bits(PIXMAN_g8, kWidth, kHeight, nullptr, 0);
    pixman_image_set_indexed(grey, &palette);
    pixman_image_t *target = pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight, nullptr, 0);
    copyWithPixman(source, grey);
    copyWithPixman(grey, target);
    benchmark::DoNotOptimize(pixman_image_get_data(target));
    for (pixman_image_t *each : {source, grey, target}) {
        pixman_image_unref(each);
    }
}

void greyBesidePixman(benchmark::State &state) {
    const auto image = picture(state.range(0) != 0);
    static const pixman_indexed_t palette = greyPalette();
    compare(
        state,
        [&] {
            benchmark::DoNotOptimize(SpriteExtend::createGrayImageWithAlpha(image.get(), false));
        },
        [&] { turnGreyWithPixman(*image, palette); });
}

/// The same with the drawing library alone: it removes the colours' saturation.
void turnGreyWithCairo(const UIImage &image) {
    drawWithCairo(image, CAIRO_FORMAT_RGB24, [](cairo_t *drawing, cairo_surface_t *source) {
        cairo_set_source_surface(drawing, source, 0, 0);
        cairo_paint(drawing);
        cairo_set_operator(drawing, CAIRO_OPERATOR_HSL_SATURATION);
        cairo_set_source_rgb(drawing, 0, 0, 0);
        cairo_paint(drawing);
    });
}

void greyBesideCairo(benchmark::State &state) {
    const auto image = picture(state.range(0) != 0);
    compare(
        state,
        [&] {
            benchmark::DoNotOptimize(SpriteExtend::createGrayImageWithAlpha(image.get(), false));
        },
        [&] { turnGreyWithCairo(*image); });
}

void scrambleBesideMemcpy(benchmark::State &state) {
    std::vector<std::uint8_t> bytes(kBytes, 7), copy(kBytes, 8);
    compare(
        state,
        [&] {
            DataEncrypt::transformPairs(bytes);
            benchmark::ClobberMemory();
        },
        [&] {
            std::memcpy(copy.data(), bytes.data(), kBytes);
            benchmark::ClobberMemory();
        });
}

/// A folder with the picture in the format that the program reads fastest.
class ProgramInput {
  public:
    ProgramInput() {
        std::string pattern = std::filesystem::temp_directory_path() / "lumivera-XXXXXX";
        _folder = mkdtemp(pattern.data());
        std::ofstream file(_folder + "/in.rgba", std::ios::binary);
        const auto image = picture(true);
        file.write(reinterpret_cast<const char *>(image->bitmap()->pixels()), kBytes);
        file.close();
        run("-size 1920x1080 -depth 8 rgba:in.rgba in.mpc");
    }

    ~ProgramInput() { std::filesystem::remove_all(_folder); }

    bool run(const std::string &arguments) const {
        const std::string command =
            "cd " + _folder + " && MAGICK_THREAD_LIMIT=1 convert " + arguments + " 2>/dev/null";
        return std::system(command.c_str()) == 0;
    }

  private:
    std::string _folder;
};

template <class Ours>
void compareWithProgram(benchmark::State &state, const std::string &arguments, Ours ours) {
    const ProgramInput input;
    if (!input.run(arguments)) {
        state.SkipWithError("the convert program of ImageMagick is not installed");
        return;
    }
    compare(state, ours, [&] { input.run(arguments); });
}

const std::string kFilled = "in.mpc ( -clone 0 -fill #bf8040 -colorize 100 ) +swap -compose ";

std::string quoted(std::string arguments) {
    for (const char *mark : {"(", ")", "#"}) {
        arguments.insert(arguments.find(mark), "\\");
    }
    return arguments;
}

void startBesideImageMagick(benchmark::State &state) {
    compareWithProgram(state, "in.mpc null:", [] {});
}

void tintBesideImageMagick(benchmark::State &state) {
    const auto image = picture(true);
    const auto shade = color();
    compareWithProgram(state, quoted(kFilled + "Multiply -composite null:"), [&] {
        benchmark::DoNotOptimize(ImageSet::colorizeImage_withColor(image, shade.get()));
    });
}

void overlayBesideImageMagick(benchmark::State &state) {
    const auto image = picture(true);
    const auto shade = color();
    compareWithProgram(state, quoted(kFilled + "Overlay -composite null:"), [&] {
        benchmark::DoNotOptimize(SpriteExtend::imageColorOverlay(image.get(), shade.get()));
    });
}

void greyBesideImageMagick(benchmark::State &state) {
    const auto image = picture(true);
    compareWithProgram(state, "in.mpc -colorspace Gray null:", [&] {
        benchmark::DoNotOptimize(SpriteExtend::createGrayImageWithAlpha(image.get(), false));
    });
}

/// The program reads pairs of bytes as 16-bit samples in one byte order, inverts them, and writes
/// them in the other.
void scrambleBesideImageMagick(benchmark::State &state) {
    std::vector<std::uint8_t> bytes(kBytes, 7);
    compareWithProgram(state,
                       "-size 1920x2160 -depth 16 -endian MSB gray:in.rgba -negate -endian LSB "
                       "gray:- >/dev/null",
                       [&] {
                           DataEncrypt::transformPairs(bytes);
                           benchmark::ClobberMemory();
                       });
}

} // namespace

BENCHMARK(tintBesideCairo)->ArgName("fades")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(overlayBesideCairo)->ArgName("fades")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(greyBesideCairo)->ArgName("fades")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(greyBesidePixman)->ArgName("fades")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(scrambleBesideMemcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(startBesideImageMagick)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(tintBesideImageMagick)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(overlayBesideImageMagick)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(greyBesideImageMagick)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(scrambleBesideImageMagick)->Iterations(5)->Unit(benchmark::kMillisecond);

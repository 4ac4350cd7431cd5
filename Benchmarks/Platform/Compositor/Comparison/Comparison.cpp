// Measures the cost of a picture of petals, with our compositor and with what one would use
// instead.

#include "Benchmarks/Platform/Compositor/Comparison/Race.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>

namespace {

const std::vector<Race::Size> kQuick = {{1280, 800, 120}, {1280, 800, 300}};

/// Shows how the cost grows with the number of petals and with the size of the picture.
const std::vector<Race::Size> kSizes = {
    {1280, 800, 30}, {1280, 800, 120}, {1280, 800, 300},  {1280, 800, 3000}, {1280, 800, 30000},
    {320, 480, 120}, {640, 480, 120},  {1920, 1080, 120}, {2560, 1440, 120}, {3840, 2160, 120}};

struct Options {
    std::string csv = LUMIVERA_BUILD_DIR "/benchmarks/comparison.csv";
    std::string only;
    int rounds = 9;
    bool isQuick = false;
};

int compare(const Options &options) {
    std::FILE *const csv = std::fopen(options.csv.c_str(), "w");
    if (!csv) {
        std::fprintf(stderr, "%s: %s\n", options.csv.c_str(), std::strerror(errno));
        return 1;
    }
    std::fputs(Race::csvHeading(), csv);
    std::printf("Processor time, of all threads together: median (least to most) of %d rounds.\n"
                "\"all\" draws the whole picture anew, without it only what changed.\n",
                options.rounds);
    if (openGLContenders().empty()) {
        std::printf("OpenGL ES is not here, and left out.\n");
    }
    bool agree = true;
    for (const Race::Size &size : options.isQuick ? kQuick : kSizes) {
        Race race(size, options.only);
        race.run(options.rounds);
        race.print();
        race.writeCsv(csv);
        agree = agree && race.oursAgree();
    }
    const bool isWritten = std::fclose(csv) == 0;
    std::printf("\nThe figures are in %s\n", options.csv.c_str());
    return agree && isWritten ? 0 : 1;
}

} // namespace

int main(int count, char **words) {
    Options options;
    CLI::App app("Draws the same petals with our compositor and others, and compares the cost.");
    app.add_option("--csv", options.csv, "write the figures to this file")->capture_default_str();
    app.add_option("--rounds", options.rounds, "how often everyone takes a turn")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    app.add_option("--only", options.only, "only contenders whose name begins so");
    app.add_flag("--quick", options.isQuick, "only 120 and 300 petals at 1280x800");
    CLI11_PARSE(app, count, words);
    return compare(options);
}

#include "Benchmarks/Platform/Compositor/Comparison/Race.h"

#include <algorithm>
#include <ctime>

namespace {

constexpr double kMillisecondsATurn = 8;

constexpr char kOurs[] = "lumivera";

/// The form that most processors run.
constexpr char kMeasure[] = "lumivera AVX2";

constexpr double kMaxDifference = 3;
constexpr double kMeanDifference = 0.1;

/// Processor time of the process with all its threads, in milliseconds.
double processorTime() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

} // namespace

Race::Race(const Size &size, const std::string &beginning)
    : _size(size), _scene(size.width, size.height, size.petals) {
    const PetalReference reference(_scene);
    for (const auto &kinds :
         {ourContenders(), cairoContenders(), pixmanContenders(), openGLContenders()}) {
        for (const ContenderKind &kind : kinds) {
            if (!kind.name.starts_with(beginning)) {
                continue;
            }
            Lane lane{kind.name, kind.make(_scene), {}, 1, {}};
            lane.contender->draw();
            lane.difference = reference.differenceOf(lane.contender->pixels());
            if (lane.name == kMeasure) {
                _measure = _lanes.size();
            }
            _lanes.push_back(std::move(lane));
        }
    }
}

void Race::run(int rounds) {
    for (Lane &lane : _lanes) {
        lane.framesATurn = std::max(1, static_cast<int>(kMillisecondsATurn / takeTurn(lane)));
    }
    for (int round = 0; round < rounds; ++round) {
        for (Lane &lane : _lanes) {
            lane.milliseconds.push_back(takeTurn(lane));
        }
    }
}

/// The first of many frames is not measured: it fills the caches, which the others have emptied.
double Race::takeTurn(Lane &lane) {
    if (lane.framesATurn > 1) {
        _scene.step();
        lane.contender->draw();
    }
    const double before = processorTime();
    for (int i = 0; i < lane.framesATurn; ++i) {
        _scene.step();
        lane.contender->draw();
    }
    return (processorTime() - before) / lane.framesATurn;
}

bool Race::oursAgree() const {
    return std::all_of(_lanes.begin(), _lanes.end(),
                       [](const Lane &lane) { return !isOurs(lane) || agrees(lane); });
}

bool Race::agrees(const Lane &lane) {
    return lane.difference.largest <= kMaxDifference && lane.difference.mean < kMeanDifference;
}

bool Race::isOurs(const Lane &lane) { return lane.name.starts_with(kOurs); }

Race::Range Race::rangeOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return {values.front(), values[values.size() / 2], values.back()};
}

/// Ratios of turns in the same round, which the machine's other load slows alike.
Race::Range Race::ratiosOf(const Lane &lane) const {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < lane.milliseconds.size(); ++i) {
        ratios.push_back(lane.milliseconds[i] / _lanes[_measure].milliseconds[i]);
    }
    return rangeOf(std::move(ratios));
}

void Race::print() const {
    std::printf("\n%d x %d, %d petals\n%-20s %29s   %29s   %s\n", _size.width, _size.height,
                _size.petals, "", "milliseconds a frame",
                ("times " + _lanes[_measure].name).c_str(), "levels from exact");
    for (const Lane &lane : _lanes) {
        const Range time = rangeOf(lane.milliseconds);
        const Range ratio = ratiosOf(lane);
        std::printf("%-20s %9.3f (%8.3f to %8.3f)   %9.2f (%8.2f to %8.2f)   %3.0f, mean %.3f%s\n",
                    lane.name.c_str(), time.median, time.least, time.most, ratio.median,
                    ratio.least, ratio.most, lane.difference.largest, lane.difference.mean,
                    agrees(lane) ? "" : ": far");
    }
    std::fflush(stdout);
}

const char *Race::csvHeading() {
    return "width,height,petals,contender,ms_min,ms_median,ms_max,ratio_min,ratio_median,"
           "ratio_max,largest_difference,mean_difference\n";
}

void Race::writeCsv(std::FILE *file) const {
    for (const Lane &lane : _lanes) {
        const Range time = rangeOf(lane.milliseconds);
        const Range ratio = ratiosOf(lane);
        std::fprintf(file, "%d,%d,%d,%s,%.4f,%.4f,%.4f,%.3f,%.3f,%.3f,%.0f,%.4f\n", _size.width,
                     _size.height, _size.petals, lane.name.c_str(), time.least, time.median,
                     time.most, ratio.least, ratio.median, ratio.most, lane.difference.largest,
                     lane.difference.mean);
    }
}

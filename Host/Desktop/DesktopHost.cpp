#include "Host/Desktop/DesktopHost.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Patience.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <algorithm>
#include <span>

namespace Lumivera {

namespace {

void writePicture(const std::string &path, std::span<const std::uint32_t> pixels, unsigned width,
                  unsigned height) {
    auto bytes = PictureFile::png(pixels, width, height, PictureFile::Compression::Fast, path);
    const bool isWritten = Patience::finish([path, bytes = std::move(bytes)] {
        OutputFile file(path, OutputFile::Mode::RegularFile);
        file.write(bytes.data(), bytes.size());
        file.commit();
    });
    if (!isWritten) {
        throw HostError(path, "cannot be written: the file system does not answer",
                        "give a file elsewhere");
    }
}

/// Removes the values that `newer` has.
void forgetThoseOf(const WallpaperChoice &newer, WallpaperChoice &choice) {
    for (const WallpaperChoice::Key &key : WallpaperChoice::keys()) {
        if (newer.textOf(key.name)) {
            choice.set("control", key.name, "default");
        }
    }
}

std::string namesOf(const std::vector<OutputStatus> &outputs) {
    std::string names;
    for (const OutputStatus &output : outputs) {
        names += (names.empty() ? "" : ", ") + output.output;
    }
    return names.empty() ? "there is none now" : "there are: " + names;
}

} // namespace

void DesktopHost::Layer::applyTo(WallpaperChoice &choice, const std::string &output) const {
    choice.apply(all);
    const auto found = outputs.find(output);
    if (found != outputs.end()) {
        choice.apply(found->second);
    }
}

DesktopHost::DesktopHost(Desktop &desktop, Options options, const Configuration &configuration)
    : _desktop(desktop), _options(std::move(options)), _configuration(configuration),
      _lastGood(_options.lastGoodPath), _trialEnd([this] {
          _options.log("the trial is over, and everything is taken back");
          quit();
      }) {
    if (_options.trial) {
        _trialEnd.callAfter(*_options.trial);
    }
    _desktop.setListener(this);
}

DesktopHost::~DesktopHost() { _desktop.setListener(nullptr); }

void DesktopHost::setConfiguration(const Configuration &configuration) {
    _configuration = configuration;
    _controlled = {};
    _desktop.setLayerChoice(
        _options.layer.value_or(_configuration.layer().value_or(LayerChoice::Automatic)));
    updateChoices();
    updatePauses();
    _desktop.settingsForgotten();
}

void DesktopHost::setSession(const SessionState &session) {
    _session = session;
    updatePauses();
}

std::vector<OutputStatus> DesktopHost::status(const std::string &output) {
    std::vector<OutputStatus> all;
    for (const Entry *entry : entriesOf(output)) {
        all.push_back(entry->show->status());
        all.back().pauseReasons = entry->decision.reasons;
    }
    return all;
}

void DesktopHost::setPaused(const std::string &output, bool paused) {
    entriesOf(output);
    if (output.empty()) {
        _areAllPaused = paused;
        _pausedOutputs.clear();
    } else {
        _pausedOutputs[output] = paused;
    }
    updatePauses();
}

void DesktopHost::choose(const std::string &output, const WallpaperChoice &choice) {
    const auto entries = entriesOf(output);
    if (output.empty()) {
        _controlled.all.apply(choice);
        // Earlier choices for one output would override this one.
        for (auto &[name, earlier] : _controlled.outputs) {
            forgetThoseOf(choice, earlier);
        }
    } else {
        _controlled.outputs[output].apply(choice);
    }
    for (const Entry *entry : entries) {
        entry->show->choose(choiceFor(entry->show->name()), choice.bundle.has_value());
    }
}

void DesktopHost::forget(const std::string &output, const std::string &key) {
    const auto entries = entriesOf(output);
    if (output.empty()) {
        _controlled.all.set("control", key, "default");
        for (auto &[name, choice] : _controlled.outputs) {
            choice.set("control", key, "default");
        }
    } else {
        _controlled.outputs[output].set("control", key, "default");
    }
    for (const Entry *entry : entries) {
        entry->show->choose(choiceFor(entry->show->name()), false);
    }
}

void DesktopHost::tap(const std::string &output, CGPoint point) {
    for (const Entry *entry : entriesOf(output)) {
        entry->show->tap(point);
    }
}

void DesktopHost::setCover(std::uint64_t program, const std::string &output,
                           std::optional<SurfaceVisibility> cover) {
    entriesOf(output);
    std::erase_if(_covers, [&](const Cover &told) {
        return told.program == program && (output.empty() || told.output == output);
    });
    if (cover) {
        _covers.push_back({program, output, *cover});
    }
    updatePauses();
}

void DesktopHost::forgetCovers(std::uint64_t program) {
    const auto isOfProgram = [program](const Cover &told) { return told.program == program; };
    if (std::erase_if(_covers, isOfProgram) > 0) {
        updatePauses();
    }
}

void DesktopHost::saveScreenshot(const std::string &output, const std::string &path,
                                 std::function<void(std::optional<std::string> problem)> done) {
    const auto entries = entriesOf(output);
    if (entries.empty()) {
        throw HostError(path, "cannot be made: no output is there");
    }
    entries.front()->show->readPicture([path, done = std::move(done)](const std::uint32_t *pixels,
                                                                      unsigned width,
                                                                      unsigned height) {
        if (!pixels) {
            done(HostError(path, "cannot be made: nothing is shown yet").what());
            return;
        }
        try {
            writePicture(path, {pixels, std::size_t{width} * height}, width, height);
            done(std::nullopt);
        } catch (const std::exception &error) {
            done(inOneLine(error.what()));
        }
    });
}

void DesktopHost::keep() { _trialEnd.cancel(); }

void DesktopHost::quit() { NSRunLoop::mainRunLoop().stop(); }

void DesktopHost::outputAdded(DesktopSurface &surface) {
    OutputShow::Listener &listener = *this;
    _entries.push_back({std::make_unique<OutputShow>(surface, _options.makeView, _lastGood,
                                                     _options.shippedBundle, listener),
                        {}});
    if (_options.aboutLayer) {
        _options.aboutLayer(surface.layer());
    }
    updatePauses();
    _entries.back().show->choose(choiceFor(surface.outputName()), true);
}

void DesktopHost::outputRemoved(DesktopSurface &surface) {
    outputBackgroundGone(surface.outputName());
    std::erase_if(_entries, [&surface](const Entry &entry) {
        return entry.show->name() == surface.outputName();
    });
    std::erase_if(_covers,
                  [&surface](const Cover &told) { return told.output == surface.outputName(); });
}

void DesktopHost::desktopLost(const std::string &reason) {
    _lossReason = reason;
    quit();
}

void DesktopHost::outputSays(const std::string &output, const std::string &bundle,
                             const std::string &line) {
    _options.log(line);
    _options.wallpaperLog->add({WallpaperLine::Source::Host, output, bundle, line});
}

void DesktopHost::outputBackgroundDrawn(const DesktopSurface &surface,
                                        const SharedBuffers &picture) {
    if (_options.showBackground) {
        _options.showBackground(surface, picture);
    }
}

void DesktopHost::outputBackgroundGone(const std::string &output) {
    if (_options.hideBackground) {
        _options.hideBackground(output);
    }
}

/// All entries when the name is empty.
std::vector<DesktopHost::Entry *> DesktopHost::entriesOf(const std::string &output) {
    std::vector<Entry *> found;
    for (Entry &entry : _entries) {
        if (output.empty() || entry.show->name() == output) {
            found.push_back(&entry);
        }
    }
    if (found.empty() && !output.empty()) {
        throw HostError(output, "there is no such output", namesOf(status("")));
    }
    return found;
}

WallpaperChoice DesktopHost::choiceFor(const std::string &output) const {
    WallpaperChoice choice = _configuration.choiceFor(output);
    Layer{_options.choice, _options.outputChoices}.applyTo(choice, output);
    _controlled.applyTo(choice, output);
    choice.bundle = choice.bundle ? Places::findBundle(*choice.bundle) : _options.shippedBundle;
    return choice;
}

PauseOptions DesktopHost::pauseOptions() const {
    PauseOptions options = _configuration.pauseOptions();
    const PauseOverrides &overrides = _options.pauses;
    options.onBattery = overrides.onBattery.value_or(options.onBattery);
    options.whenCovered = overrides.whenCovered.value_or(options.whenCovered);
    options.whenLocked = overrides.whenLocked.value_or(options.whenLocked);
    options.whenIdle = overrides.whenIdle.value_or(options.whenIdle);
    return options;
}

bool DesktopHost::isPausedByUser(const std::string &output) const {
    const auto found = _pausedOutputs.find(output);
    return found == _pausedOutputs.end() ? _areAllPaused : found->second;
}

/// The desktop's shell knows of windows that the host cannot see, but not whether the screen is on.
SurfaceVisibility DesktopHost::visibilityOf(const OutputShow &show) const {
    const auto told = std::find_if(_covers.rbegin(), _covers.rend(), [&show](const Cover &cover) {
        return cover.output.empty() || cover.output == show.name();
    });
    const bool isTold = told != _covers.rend() && show.visibility() != SurfaceVisibility::Off;
    return isTold ? told->visibility : show.visibility();
}

void DesktopHost::updateChoices() {
    for (const Entry &entry : _entries) {
        entry.show->choose(choiceFor(entry.show->name()), false);
    }
}

void DesktopHost::updatePauses() {
    const PauseOptions options = pauseOptions();
    for (Entry &entry : _entries) {
        entry.decision = PausePolicy::decide(options, visibilityOf(*entry.show), _session,
                                             isPausedByUser(entry.show->name()));
        entry.show->setHalved(entry.decision.hasHalfPetals);
        entry.show->setRunning(!entry.decision.isPaused());
    }
}

} // namespace Lumivera

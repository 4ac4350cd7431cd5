#include "Host/Desktop/Backgrounds/DesktopBackgrounds.h"

#include "Host/Desktop/Backgrounds/ToolProcesses.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/Places.h"

#include <algorithm>
#include <utility>

namespace Lumivera {

namespace {

/// The pictures of several outputs mostly come together.
constexpr NSTimeInterval kShowDelay = 0.1;

std::string inSmallLetters(std::string text) {
    for (char &c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    return text;
}

} // namespace

DesktopBackgrounds::DesktopBackgrounds(DescriptorWatch &waiter, std::string stateFolder, Log log)
    : DesktopBackgrounds(std::make_unique<ToolProcesses>(waiter), allDesktopPrograms(),
                         std::move(stateFolder), std::move(log)) {}

DesktopBackgrounds::DesktopBackgrounds(std::unique_ptr<ToolRunner> runner,
                                       std::vector<std::unique_ptr<DesktopProgram>> programs,
                                       std::string stateFolder, Log log)
    : _log(std::move(log)), _folder(std::move(stateFolder)), _pictures(_folder),
      _runner(std::move(runner)), _show([this] { showNow(); }),
      _giveBackLeftOver([this] { giveBackNow(); }) {
    for (auto &program : programs) {
        const std::string path = _folder.pathOf(program->windowClass() + ".kept");
        _programs.push_back(std::make_unique<ProgramBackground>(std::move(program), path, *_runner,
                                                                static_cast<Owner &>(*this)));
    }
}

DesktopBackgrounds::~DesktopBackgrounds() = default;

void DesktopBackgrounds::show(const std::string &program, std::uint32_t window,
                              const std::string &output, const DeviceRect &area,
                              const SharedBuffers &picture) {
    ProgramBackground *const background = find(program);
    if (!background || !takeFolder()) {
        return;
    }
    try {
        _pictures.set(output, area, picture);
    } catch (const HostError &error) {
        report(error.what());
        return;
    }
    _shown.insert(background);
    const auto [known, isFirst] = _windows.try_emplace(output, window);
    if (isFirst || std::exchange(known->second, window) != window) {
        _new.insert(background);
    }
    _show.callAfter(kShowDelay);
}

/// Outputs may come back soon, so the user's own backgrounds come back only after a while.
void DesktopBackgrounds::remove(const std::string &output) {
    _pictures.remove(output);
    _windows.erase(output);
    if (_pictures.isEmpty() && !_shown.empty()) {
        _show.cancel();
        _shown.clear();
        _giveBackLeftOver.callAfter(kLeftOverDelay);
    } else if (!_shown.empty()) {
        _show.callAfter(kShowDelay);
    }
}

bool DesktopBackgrounds::giveBack() {
    _show.cancel();
    _giveBackLeftOver.cancel();
    _pictures.clear();
    _windows.clear();
    _shown.clear();
    if (!_folder.isTaken() && (!hasKeptSettings() || !takeFolder())) {
        return true; // nothing is kept, or the host that has the folder gives it back
    }
    giveBackNow();
    // Without kept settings nothing was changed yet, so a task that has only begun is dropped.
    if (!_runner->finish(hasKeptSettings() ? kLongestGiveBack : 0)) {
        for (const auto &program : _programs) {
            program->abandon();
        }
        if (hasKeptSettings()) {
            report("the desktop's own wallpaper could not be given back in time; it is kept in " +
                   _folder.path() + ", and is given back when lumivera desktop starts again");
        }
    }
    changeEnded();
    return !hasKeptSettings();
}

void DesktopBackgrounds::giveBackLeftOver() {
    if (hasKeptSettings()) {
        _giveBackLeftOver.callAfter(kLeftOverDelay);
    }
}

bool DesktopBackgrounds::knows(const std::string &program) {
    return !settingsNameOf(program).empty();
}

std::string DesktopBackgrounds::settingsNameOf(const std::string &program) {
    for (const auto &known : allDesktopPrograms()) {
        if (known->windowClass() == inSmallLetters(program)) {
            return known->settingsName();
        }
    }
    return {};
}

std::string DesktopBackgrounds::userFolder() { return Places::statePath("lumivera/backgrounds"); }

void DesktopBackgrounds::report(const std::string &line) {
    if (_reported.insert(line).second) {
        _log(line);
    }
}

/// Pictures go when no desktop needs them: those that the settings name are needed until others are
/// shown, and what is in a file that was not read is not known.
void DesktopBackgrounds::changeEnded() {
    const bool isAnyUncertain =
        std::any_of(_programs.begin(), _programs.end(), [](const auto &program) {
            return program->isBusy() || (program->kept().empty() && program->hasKeptSettings());
        });
    if (isAnyUncertain || !_folder.isTaken()) {
        return;
    }
    std::set<std::string> values;
    for (const auto &program : _programs) {
        for (const auto &[key, setting] : program->kept()) {
            values.insert({setting.ours.value_or(""), setting.next.value_or("")});
        }
    }
    _pictures.removeOthers(values);
}

ProgramBackground *DesktopBackgrounds::find(const std::string &program) {
    const std::string name = inSmallLetters(program);
    const auto found = std::find_if(_programs.begin(), _programs.end(), [&](const auto &known) {
        return known->program().windowClass() == name;
    });
    return found == _programs.end() ? nullptr : found->get();
}

bool DesktopBackgrounds::takeFolder() {
    try {
        _folder.take();
    } catch (const HostError &error) {
        report(error.what());
    }
    return _folder.isTaken();
}

void DesktopBackgrounds::showNow() {
    if (_pictures.isEmpty()) {
        return;
    }
    for (ProgramBackground *const program : _shown) {
        program->show(_new.erase(program) > 0);
    }
}

/// Those that are shown now are given back at the end.
void DesktopBackgrounds::giveBackNow() {
    if (!takeFolder()) {
        return;
    }
    for (const auto &program : _programs) {
        const bool isInUse = _shown.contains(program.get());
        if (!isInUse && (program->hasKeptSettings() || program->isBusy())) {
            program->giveBack();
        }
    }
}

bool DesktopBackgrounds::hasKeptSettings() const {
    return std::any_of(_programs.begin(), _programs.end(),
                       [](const auto &program) { return program->hasKeptSettings(); });
}

} // namespace Lumivera

#include "Host/Desktop/Backgrounds/ProgramBackground.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <utility>

namespace Lumivera {

namespace {

std::optional<std::string> valueIn(const DesktopSettings &settings, const std::string &key) {
    const auto found = settings.find(key);
    return found == settings.end() ? std::nullopt : found->second;
}

/// Whether nothing of ours is left in the setting.
bool isBack(const KeptSetting &setting, const std::optional<std::string> &present) {
    return present == setting.before || !setting.isOurs(present);
}

std::string firstProblemIn(const std::vector<ToolResult> &results) {
    const auto bad = std::find_if_not(results.begin(), results.end(),
                                      [](const ToolResult &result) { return result.isGood(); });
    return bad == results.end() ? "" : bad->problem;
}

} // namespace

ProgramBackground::ProgramBackground(std::unique_ptr<DesktopProgram> program, std::string path,
                                     ToolRunner &runner, Owner &owner)
    : _program(std::move(program)), _kept(std::move(path)), _runner(runner), _owner(owner) {}

void ProgramBackground::show(bool isNew) {
    _isNew = _isNew || isNew;
    begin(Task::Show);
}

/// A task that comes while another runs takes the place of any that waits.
void ProgramBackground::begin(Task task) {
    if (isBusy()) {
        _next = task;
        return;
    }
    _task = task;
    if (!load()) {
        end();
        return;
    }
    read([this](const DesktopSettings &present) { change(present); });
}

void ProgramBackground::end() {
    _task = Task::None;
    _owner.changeEnded();
    const Task next = std::exchange(_next, Task::None);
    if (next != Task::None) {
        begin(next);
    }
}

/// False when there is a file that must not be used: without it nothing may be changed.
bool ProgramBackground::load() {
    if (!_isLoaded) {
        try {
            _kept.load();
        } catch (const HostError &error) {
            _owner.report(error.what());
        }
        _isLoaded = !_kept.entries().empty() || !_kept.isSaved();
    }
    return _isLoaded;
}

/// Makes all calls and then continues with their results.
void ProgramBackground::run(std::vector<ToolCall> calls,
                            std::function<void(const Results &)> then) {
    if (calls.empty()) {
        then({});
        return;
    }
    const auto results = std::make_shared<Results>();
    const std::size_t count = calls.size();
    for (ToolCall &call : calls) {
        _runner.run(std::move(call), [results, count, then](const ToolResult &result) {
            results->push_back(result);
            if (results->size() == count) {
                then(*results);
            }
        });
    }
}

void ProgramBackground::read(std::function<void(const DesktopSettings &)> then) {
    run(_program->callsToRead(), [this, then = std::move(then)](const Results &results) {
        attempt([&] { then(_program->settingsFrom(results)); });
    });
}

/// A change must be on the disk before it is made. To give back is always safe.
void ProgramBackground::change(const DesktopSettings &present) {
    DesktopSettings changes;
    if (_task == Task::Show) {
        changes = changesToShow(present);
        _kept.save();
    } else {
        changes = changesToGiveBack(present);
    }
    if (changes.empty()) {
        confirm(present, {});
        return;
    }
    run(_program->set(changes), [this](const Results &results) {
        read([this, problem = firstProblemIn(results)](const DesktopSettings &present) {
            confirm(present, problem);
        });
    });
}

DesktopSettings ProgramBackground::changesToShow(const DesktopSettings &present) {
    const DesktopPictures pictures = _owner.pictures(!_program->hasPicturePerOutput());
    const DesktopSettings wanted = _program->settingsFor(pictures, present);
    const std::string note = _program->noteAbout(pictures);
    if (!note.empty()) {
        _owner.report(note);
    }
    releaseChangedGroups(wanted, present);
    _isNew = false;
    DesktopSettings changes;
    for (const auto &[key, setting] : _kept.entries()) {
        if (_usersGroups.contains(_program->groupOf(key)) &&
            !isBack(setting, valueIn(present, key))) {
            changes[key] = setting.before;
        }
    }
    for (const auto &[key, value] : wanted) {
        if (!_usersGroups.contains(_program->groupOf(key))) {
            keep(key, *value, present);
            if (valueIn(present, key) != value) {
                changes[key] = value;
            }
        }
    }
    return changes;
}

DesktopSettings ProgramBackground::changesToGiveBack(const DesktopSettings &present) {
    DesktopSettings changes;
    for (const auto &[key, setting] : _kept.entries()) {
        if (!isBack(setting, valueIn(present, key))) {
            changes[key] = setting.before;
        }
    }
    return changes;
}

void ProgramBackground::releaseChangedGroups(const DesktopSettings &wanted,
                                             const DesktopSettings &present) {
    for (const auto &[key, setting] : _kept.entries()) {
        const auto value = valueIn(present, key);
        const bool isWanted = value && value == valueIn(wanted, key);
        const bool isUnsaved = _isNew && value == setting.before;
        if (!setting.isOurs(value) && !isWanted && !isUnsaved &&
            _usersGroups.insert(_program->groupOf(key)).second) {
            _owner.report("the desktop's wallpaper was changed in " + _program->settingsName() +
                          ", and stays as it is now");
        }
    }
}

/// The oldest value stays the one to give back. A setting that has the wanted value by itself is
/// nothing of ours. A picture of ours that nothing is kept for was left by a run whose file is
/// lost.
void ProgramBackground::keep(const std::string &key, const std::string &value,
                             const DesktopSettings &present) {
    const auto found = _kept.entries().find(key);
    if (found != _kept.entries().end()) {
        found->second.next = value;
        return;
    }
    const auto before = valueIn(present, key);
    const bool isLost = before && _owner.isOurPicture(*before);
    if (before != value || isLost) {
        _kept.entries()[key] = {isLost ? std::nullopt : before, std::nullopt, value};
    }
}

void ProgramBackground::confirm(const DesktopSettings &present, const std::string &problem) {
    const bool isDone = _task == Task::Show ? confirmShown(present) : confirmGivenBack(present);
    _kept.save();
    if (!isDone) {
        throw HostError(_program->settingsName(),
                        _task == Task::Show ? "did not take the background"
                                            : "did not take your own wallpaper back",
                        problem);
    }
    end();
}

bool ProgramBackground::confirmShown(const DesktopSettings &present) {
    bool isDone = true;
    for (auto &[key, setting] : _kept.entries()) {
        if (setting.next && valueIn(present, key) == setting.next) {
            setting.ours = std::exchange(setting.next, std::nullopt);
        }
        isDone = isDone && !setting.next;
    }
    std::erase_if(_kept.entries(), [&](const auto &entry) {
        return _usersGroups.contains(_program->groupOf(entry.first)) &&
               isBack(entry.second, valueIn(present, entry.first));
    });
    return isDone;
}

bool ProgramBackground::confirmGivenBack(const DesktopSettings &present) {
    std::set<std::string> back;
    for (const auto &[key, setting] : _kept.entries()) {
        if (isBack(setting, valueIn(present, key)) || isInert(key, present)) {
            back.insert(key);
        }
    }
    std::erase_if(_kept.entries(), [&](const auto &entry) { return back.contains(entry.first); });
    return _kept.entries().empty();
}

/// Whether a setting keeps our value only because the program cannot unset it, while the rest of
/// its group is back.
bool ProgramBackground::isInert(const std::string &key, const DesktopSettings &present) const {
    if (_program->canUnset() || _kept.entries().at(key).before) {
        return false;
    }
    return std::all_of(_kept.entries().begin(), _kept.entries().end(), [&](const auto &other) {
        return other.first == key || _program->groupOf(other.first) != _program->groupOf(key) ||
               isBack(other.second, valueIn(present, other.first));
    });
}

/// Ends the task when the action fails.
void ProgramBackground::attempt(const std::function<void()> &action) {
    try {
        action();
    } catch (const std::exception &error) {
        _owner.report(_task == Task::GiveBack
                          ? std::string(error.what()) + "; your own is kept in " + _kept.path() +
                                ", and is given back when lumivera desktop starts again"
                          : error.what());
        end();
    }
}

} // namespace Lumivera

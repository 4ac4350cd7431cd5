#pragma once

#include "Host/Desktop/Backgrounds/DesktopProgram.h"
#include "Host/Desktop/Backgrounds/KeptSettings.h"
#include "Host/Desktop/Backgrounds/ToolRunner.h"

#include <functional>
#include <set>

namespace Lumivera {

/// Our pictures as the wallpaper of one desktop program, and the user's own settings, which are
/// kept until they are back. A change takes three steps, each of which waits for the tools of the
/// one before: reading the settings, setting them, and reading them again to see that they are set.
/// Main thread.
class ProgramBackground {
  public:
    /// What it needs of its owner, which outlives it.
    class Owner {
      public:
        /// Writes a line into the log, unless it was written before.
        virtual void report(const std::string &line) = 0;

        /// The pictures to show now. Throws a HostError when there are none.
        virtual DesktopPictures pictures(bool withScreen) = 0;

        /// Whether a value is a picture of ours, from whatever run.
        virtual bool isOurPicture(const std::string &value) = 0;

        /// A change has come to its end, well or not.
        virtual void changeEnded() = 0;

      protected:
        ~Owner() = default;
    };

    /// The runner is not owned. The file at `path` keeps the settings.
    ProgramBackground(std::unique_ptr<DesktopProgram> program, std::string path, ToolRunner &runner,
                      Owner &owner);

    ProgramBackground(const ProgramBackground &) = delete;
    ProgramBackground &operator=(const ProgramBackground &) = delete;

    const DesktopProgram &program() const { return *_program; }

    /// Shows the owner's pictures. The settings are kept in the file before the first one changes;
    /// where that fails, nothing is changed. Settings that the user has changed since they were set
    /// stay so from now on. `isNew` tells that the program's desktop was away before: one that
    /// comes back with the user's own settings has not saved ours, as Plasma does for a while.
    void show(bool isNew = false);

    /// Gives back those settings that are still as we have set them.
    void giveBack() { begin(Task::GiveBack); }

    /// Stops waiting for tools that were ended.
    void abandon() { _task = _next = Task::None; }

    bool isBusy() const { return _task != Task::None; }

    /// Whether a file waits for settings to be given back.
    bool hasKeptSettings() const { return _kept.isSaved(); }

    const KeptSettings::Entries &kept() const { return _kept.entries(); }

  private:
    enum class Task { None, Show, GiveBack };
    using Results = std::vector<ToolResult>;

    void begin(Task task);
    void end();
    bool load();
    void run(std::vector<ToolCall> calls, std::function<void(const Results &)> then);
    void read(std::function<void(const DesktopSettings &)> then);
    void change(const DesktopSettings &present);
    DesktopSettings changesToShow(const DesktopSettings &present);
    DesktopSettings changesToGiveBack(const DesktopSettings &present);
    void releaseChangedGroups(const DesktopSettings &wanted, const DesktopSettings &present);
    void keep(const std::string &key, const std::string &value, const DesktopSettings &present);
    void confirm(const DesktopSettings &present, const std::string &problem);
    bool confirmShown(const DesktopSettings &present);
    bool confirmGivenBack(const DesktopSettings &present);
    bool isInert(const std::string &key, const DesktopSettings &present) const;
    void attempt(const std::function<void()> &action);

    const std::unique_ptr<DesktopProgram> _program;
    KeptSettings _kept;
    ToolRunner &_runner;
    Owner &_owner;
    Task _task = Task::None;
    Task _next = Task::None;
    bool _isLoaded = false;
    bool _isNew = false;
    std::set<std::string> _usersGroups;
};

} // namespace Lumivera

#include "Host/Commands/Command.h"

#include "Host/Desktop/Configuration/ConfigurationFile.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Desktop/Isolation/Sandbox.h"
#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Desktop/Policy/SessionWatch.h"
#include "Host/Displays/Shared/SharedSurface.h"
#include "Host/Displays/WindowSystem.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/Rules/BundleRules.h"
#include "Host/Wallpapers/WallpaperBundle.h"

#include <CLI/CLI.hpp>
#include <SDL2/SDL.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <unistd.h>

namespace Lumivera {

namespace {

using Level = Finding::Level;
using Json = nlohmann::ordered_json;

constexpr const char *kHelp =
    "Says what this desktop offers to wallpapers, and problems of those installed.";

constexpr const char *kMore = "Lines begin with ok, with -- for what could be better,\n"
                              "or with !! for what does not work. The exit status is 1 when\n"
                              "`lumivera desktop` cannot work here.";

constexpr NSTimeInterval kUntilServicesTell = 0.3;
constexpr NSTimeInterval kUntilPicture = 10;
constexpr unsigned kTrialSize = 64;

struct Section {
    std::string title;
    std::vector<Finding> findings;
};

const char *markOf(Level level) {
    switch (level) {
    case Level::Good:
        return "ok";
    case Level::Lacking:
        return "--";
    case Level::Bad:
        return "!!";
    }
    return "";
}

const char *nameOf(Level level) {
    switch (level) {
    case Level::Good:
        return "good";
    case Level::Lacking:
        return "lacking";
    case Level::Bad:
        return "bad";
    }
    return "";
}

bool isInPath(const std::string &program) {
    const char *const path = std::getenv("PATH");
    const std::string folders = path ? path : "";
    for (std::size_t start = 0; start <= folders.size();) {
        const std::size_t end = std::min(folders.find(':', start), folders.size());
        if (access((folders.substr(start, end - start) + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

/// Runs the shipped wallpaper as the desktop does, without showing it.
class Trial final : private RemoteView::Listener {
  public:
    Finding run() {
        const std::string bundle = Places::defaultBundle();
        try {
            DescriptorWaiter waiter;
            const auto memory = std::make_shared<SharedBuffers>(kTrialSize, kTrialSize, 1);
            const auto refused = [this](const std::string &name) { _refused.insert(name); };
            ViewProcess view(waiter, {{bundle, {}, memory, 1}, {false, refused}}, *this);
            view.allowDrawing(0);
            const Clock::Nanoseconds end = Clock::current().deadlineAfter(kUntilPicture);
            while (!_hasDrawn && _problem.empty() && NSRunLoop::mainRunLoop().runNextCall(end)) {
            }
        } catch (const HostError &error) {
            _problem = error.what();
        }
        if (_hasDrawn) {
            return {"a trial", Level::Good, "the shipped wallpaper has drawn a picture", ""};
        }
        return {"a trial", Level::Bad,
                bundle + (_problem.empty() ? " has drawn nothing" : " " + _problem),
                "install the program whole"};
    }

    /// Whether the kernel has the protection but did not grant it.
    bool wasRefused(const std::string &protection) const { return _refused.contains(protection); }

  private:
    void viewDrew(RemoteView &, unsigned, const std::vector<DeviceRect> &) override {
        _hasDrawn = true;
    }
    void viewEnded(RemoteView &, const std::string &reason, bool) override { _problem = reason; }

    bool _hasDrawn = false;
    std::string _problem;
    std::set<std::string> _refused;
};

Finding findingOf(const Sandbox::Protection &protection, bool wasRefused) {
    if (wasRefused) {
        return {protection.name, Level::Bad, "does not hold, although the kernel has it",
                "look for what this session may not do"};
    }
    return protection.holds ? Finding{protection.name, Level::Good, "holds", ""}
                            : Finding{protection.name, Level::Lacking, "does not hold",
                                      "use a kernel that has it, with settings that allow it"};
}

Section examineProtection() {
    Section section{"Protection from wallpapers", {}};
    Trial trial;
    const Finding outcome = trial.run();
    for (const Sandbox::Protection &protection : Sandbox::tryOut()) {
        section.findings.push_back(findingOf(protection, trial.wasRefused(protection.name)));
    }
    section.findings.push_back(outcome);
    return section;
}

Section examineSession() {
    DescriptorWaiter waiter;
    const SessionWatch session(waiter);
    NSRunLoop::mainRunLoop().runForSeconds(kUntilServicesTell);
    Section section{"Session", {}};
    section.findings.push_back(
        session.hasLogind()
            ? Finding{"login manager", Level::Good, "tells when the screen is locked or idle", ""}
            : Finding{"login manager", Level::Lacking,
                      "none tells when the screen is locked or idle",
                      "run systemd-logind or elogind"});
    section.findings.push_back(
        session.hasUPower()
            ? Finding{"power service", Level::Good, "tells when the battery empties", ""}
            : Finding{"power service", Level::Lacking,
                      "none tells when the battery empties; the kernel is asked",
                      "install UPower"});
    return section;
}

Finding examineSound() {
    const bool isThere = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
    const int devices = isThere ? SDL_GetNumAudioDevices(0) : 0;
    const char *const driver = SDL_GetCurrentAudioDriver();
    const std::string name = driver ? driver : "";
    if (isThere) {
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
    }
    if (devices > 0) {
        return {"sound", Level::Good,
                "goes through " + name + "; wallpapers on the desktop are silent", ""};
    }
    return {"sound", Level::Lacking, "there is no sound device; everything else works", ""};
}

Section examinePrograms() {
    return {
        "Sound and films",
        {examineSound(), isInPath("ffmpeg")
                             ? Finding{"ffmpeg", Level::Good, "makes MP4, WebM and GIF films", ""}
                             : Finding{"ffmpeg", Level::Lacking,
                                       "is missing: films can be WebP or numbered pictures only",
                                       "install ffmpeg"}}};
}

Finding examineConfiguration() {
    const std::string path = ConfigurationFile::standardPath();
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        return {"configuration", Level::Good, "none; " + path + " would be read", ""};
    }
    try {
        ConfigurationFile::read(path);
    } catch (const HostError &problem) {
        return {"configuration", Level::Bad, problem.what(),
                "correct it; until then it is ignored"};
    }
    return {"configuration", Level::Good, path + " is in order", ""};
}

LayerChoice configuredLayer() {
    try {
        return ConfigurationFile::read(ConfigurationFile::standardPath())
            .layer()
            .value_or(LayerChoice::Automatic);
    } catch (const HostError &) {
        return LayerChoice::Automatic;
    }
}

/// What the running host says; empty without one.
Json statusOfHost() {
    try {
        return Json::parse(
            ControlClient::ask(ControlPlace::standardFolder(), R"({"do": "status"})"), nullptr,
            false);
    } catch (const HostError &) {
        return {};
    }
}

Finding examineHost(const Json &status) {
    if (status.is_null()) {
        return {"host", Level::Lacking, "is not running", "start it with `lumivera desktop`"};
    }
    return {"host", Level::Good, "is running; `lumivera ctl status` tells more", ""};
}

/// A member that is a text; empty when it is missing or of another type.
std::string textMember(const Json &object, const char *name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

/// An output that the desktop shows itself lacks nothing, whatever the window system offers.
void applyStatus(const Json &status, std::vector<Finding> &findings) {
    const auto outputs = status.find("outputs");
    if (outputs == status.end() || !outputs->is_array()) {
        return;
    }
    for (const Json &output : *outputs) {
        if (output.is_object() && textMember(output, "layerWords") == SharedSurface::kWords) {
            const std::string subject = "layer on " + textMember(output, "output");
            std::erase_if(findings, [&subject](const Finding &finding) {
                return finding.subject == subject || finding.subject == "icons";
            });
            findings.push_back({subject, Level::Good, SharedSurface::kWords, ""});
        }
    }
}

/// Says whether a bundle can be shown on the desktop.
Finding examine(const BundleListing &listing) {
    if (!listing.problem.empty()) {
        return {listing.name, Level::Bad, listing.path + " " + listing.problem,
                "ask the wallpaper's maker, or remove it"};
    }
    try {
        checkLibraryTrust(listing);
    } catch (const HostError &problem) {
        return {listing.name, Level::Bad, problem.what(), ""};
    }
    const Remarks mistakes = cheapMistakes(listing.path);
    if (!mistakes.empty()) {
        return {listing.name, Level::Lacking, listing.path + ": " + mistakes[0].line(),
                "`lumivera check` tells more; ask the wallpaper's maker"};
    }
    return {listing.name, Level::Good, listing.path, ""};
}

Section examineBundles() {
    Section section{"Wallpapers", {}};
    for (const std::string &folder : Places::wallpaperFolders()) {
        const auto listings = BundleListing::readFolder(folder);
        for (const BundleListing &listing : listings.value_or(std::vector<BundleListing>())) {
            section.findings.push_back(examine(listing));
        }
    }
    if (section.findings.empty()) {
        section.findings.push_back({"none", Level::Bad, "no wallpaper is installed",
                                    "put bundles into " + Places::wallpaperFolders().front()});
    }
    return section;
}

std::string sizeText(const DesktopSurvey::Output &output) {
    char text[64];
    std::snprintf(text, sizeof text, "%ux%u pixels, %g a point", output.width, output.height,
                  output.density);
    return text;
}

/// What works on this machine, what does not, and what would help.
struct Examination {
    std::vector<Section> sections;
    std::vector<DesktopSurvey::Output> outputs;

    /// Examines everything, which takes up to a second. Main thread.
    static Examination make();

    /// True when wallpapers can be shown on the desktop here.
    bool isDesktopUsable() const;

    /// One line per finding, for people.
    std::string text() const;

    /// The same as JSON.
    std::string json() const;
};

Examination Examination::make() {
    Examination examination;
    DesktopSurvey survey = surveyDesktop(configuredLayer());
    const Json status = statusOfHost();
    applyStatus(status, survey.findings);
    Section desktop{"Desktop" + (survey.system.empty() ? "" : " (" + survey.system + ")"),
                    std::move(survey.findings)};
    for (const DesktopSurvey::Output &output : survey.outputs) {
        desktop.findings.push_back({"output " + output.name, Level::Good, sizeText(output), ""});
    }
    examination.outputs = survey.outputs;
    examination.sections = {std::move(desktop),
                            examineProtection(),
                            examineSession(),
                            examinePrograms(),
                            {"This program", {examineHost(status), examineConfiguration()}},
                            examineBundles()};
    return examination;
}

bool Examination::isDesktopUsable() const {
    const auto isFine = [](const Section &section) {
        return std::none_of(section.findings.begin(), section.findings.end(),
                            [](const Finding &finding) { return finding.level == Level::Bad; });
    };
    return isFine(sections[0]) && isFine(sections[1]);
}

std::string Examination::text() const {
    std::string text;
    for (const Section &section : sections) {
        text += (text.empty() ? "" : "\n") + inOneLine(section.title) + "\n";
        for (const Finding &finding : section.findings) {
            text += std::string("  ") + markOf(finding.level) + "  " +
                    inOneLine(finding.subject + ": " + finding.words) + "\n";
            if (!finding.remedy.empty()) {
                text += "      " + inOneLine(finding.remedy) + "\n";
            }
        }
    }
    return text;
}

std::string Examination::json() const {
    Json document;
    document["usable"] = isDesktopUsable();
    document["outputs"] = Json::array();
    for (const DesktopSurvey::Output &output : outputs) {
        document["outputs"].push_back({{"output", output.name},
                                       {"width", output.width},
                                       {"height", output.height},
                                       {"density", output.density}});
    }
    document["sections"] = Json::array();
    for (const Section &section : sections) {
        Json findings = Json::array();
        for (const Finding &finding : section.findings) {
            findings.push_back({{"subject", finding.subject},
                                {"level", nameOf(finding.level)},
                                {"words", finding.words},
                                {"remedy", finding.remedy}});
        }
        document["sections"].push_back({{"title", section.title}, {"findings", findings}});
    }
    return safeJson(document.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

/// lumivera doctor: what works here, what does not, and what would help.
class DoctorCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    bool _asJson = false;
};

void DoctorCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("doctor", kHelp);
    _app->footer(kMore);
    _app->add_flag("--json", _asJson, "Prints JSON, for programs");
}

void DoctorCommand::run() {
    const Examination examination = Examination::make();
    printToStandardOutput(_asJson ? examination.json() : examination.text());
    if (!examination.isDesktopUsable()) {
        throw HostError("desktop", "no wallpaper can be shown on the desktop here",
                        "see the lines with !! above");
    }
}

} // namespace

std::unique_ptr<Command> makeDoctorCommand() { return std::make_unique<DoctorCommand>(); }

} // namespace Lumivera

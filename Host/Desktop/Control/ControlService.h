#pragma once

#include "Host/Desktop/Control/ControlRequest.h"
#include "Host/Desktop/Control/ControlTarget.h"

#include <functional>
#include <string>
#include <string_view>

namespace Lumivera {

/// Does what requests ask for and writes the answers, JSON objects in one line without its end.
/// Main thread.
class ControlService {
  public:
    using Answered = std::function<void(const std::string &answer)>;

    /// `desktop` is what the window system is called. The target is not owned.
    ControlService(ControlTarget &target, std::string desktop);

    /// Calls `answered` once: in this call, or later when the request takes time.
    void execute(const ControlRequest &request, const Answered &answered);

    /// {"ok": false, "error": "..."}, with the identifier of the request where it has one.
    static std::string refusal(std::string_view problem, const std::string &identifier = {});

  private:
    std::string resultOf(const ControlRequest &request);
    std::string status(const ControlRequest &request);

    ControlTarget &_target;
    const std::string _desktop;
};

} // namespace Lumivera

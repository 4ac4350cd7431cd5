#pragma once

#include "Platform/Foundation/Clock.h"

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace Lumivera {

/// Work that may wait for a file system or another program, on a thread of its own and with a
/// deadline: the main thread of a host must not wait for one that has stopped answering, such as
/// that of a server that is gone.
class Patience {
  public:
    static constexpr NSTimeInterval kSeconds = 2;

    /// The result of the work; nothing when it has none after that time. It then goes on unheeded,
    /// so it must own everything that it uses. Throws what the work throws.
    template <typename Result>
    static std::optional<Result> resultOf(const std::function<Result()> &work,
                                          NSTimeInterval seconds = kSeconds) {
        const auto result = std::make_shared<std::optional<Result>>();
        const bool isDone = finish([result, work] { *result = work(); }, seconds);
        return isDone ? std::move(*result) : std::nullopt;
    }

    /// The same for work without a result; false when it has not finished in time.
    static bool finish(std::function<void()> work, NSTimeInterval seconds = kSeconds);

    /// When so much work has not finished yet, no more is begun: it counts as unfinished at once.
    static constexpr int kMaxUnfinished = 4;
};

} // namespace Lumivera

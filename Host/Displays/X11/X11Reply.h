#pragma once

#include <cstdlib>
#include <memory>

namespace Lumivera {

struct X11ReplyDeleter {
    void operator()(void *reply) const { std::free(reply); }
};

/// What the X server has answered or sent, to be given back. Null for a request that failed.
template <class Reply> using X11Reply = std::unique_ptr<Reply, X11ReplyDeleter>;

} // namespace Lumivera

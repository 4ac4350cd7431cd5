#include <stdexcept>

// Throws while it is loaded.

namespace {

struct Starter {
    Starter() { throw std::runtime_error("a mistake at the start"); }
};

const Starter starter;

} // namespace

#include "Tests/Host/Displays/Wayland/FakeSway.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::string_view kMagic = "i3-ipc";
constexpr std::size_t kHeaderBytes = 14;

std::uint32_t wordAt(const std::string &bytes, std::size_t place) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + place, sizeof word);
    return word;
}

std::string usualName() {
    return "sway-ipc." + std::to_string(getuid()) + "." + std::to_string(getpid()) + ".sock";
}

std::string rect(int x, int y, int width, int height) {
    return R"({"x": )" + std::to_string(x) + R"(, "y": )" + std::to_string(y) + R"(, "width": )" +
           std::to_string(width) + R"(, "height": )" + std::to_string(height) + "}";
}

} // namespace

FakeSway::FakeSway(Place place)
    : _path(_folder.pathOf(place == Place::Named ? "sway" : usualName())),
      _variable("SWAYSOCK", place == Place::Named ? _path.c_str() : nullptr),
      _runtimeFolder("XDG_RUNTIME_DIR", _folder.path().c_str()),
      _listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, _path.data(), _path.size());
    bind(_listening, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    listen(_listening, 1);
}

FakeSway::~FakeSway() {
    hangUp();
    close(_listening);
}

const std::vector<std::uint32_t> &FakeSway::requests() {
    accept();
    std::array<char, 4096> part;
    for (ssize_t count = 1; count > 0;) {
        count = recv(_client, part.data(), part.size(), MSG_DONTWAIT);
        _received.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    while (_received.size() >= kHeaderBytes &&
           _received.size() >= kHeaderBytes + wordAt(_received, kMagic.size())) {
        _requests.push_back(wordAt(_received, kMagic.size() + 4));
        _received.erase(0, kHeaderBytes + wordAt(_received, kMagic.size()));
    }
    return _requests;
}

void FakeSway::send(std::string_view bytes) {
    accept();
    ::send(_client, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void FakeSway::hangUp() {
    accept();
    if (_client >= 0) {
        close(std::exchange(_client, -1));
    }
}

std::string FakeSway::message(std::uint32_t kind, std::string_view text) {
    const std::array<std::uint32_t, 2> words{static_cast<std::uint32_t>(text.size()), kind};
    std::string bytes(kMagic);
    bytes.append(reinterpret_cast<const char *>(words.data()), sizeof words);
    return bytes.append(text);
}

std::string FakeSway::tree(const std::string &nodes, const std::string &floating) {
    const std::string area = rect(0, 0, 640, 480);
    return R"({"type": "root", "nodes": [{"type": "output", "name": "A", "current_workspace": "1",
        "rect": )" +
           area +
           R"(, "nodes": [{"type": "workspace", "name": "1", "fullscreen_mode": 1, "rect": )" +
           area + R"(, "nodes": [)" + nodes + R"(], "floating_nodes": [)" + floating + "]}]}]}";
}

std::string FakeSway::window(int x, int y, int width, int height, const std::string &more) {
    return R"({"type": "con", "layout": "none", "visible": true, "nodes": [], "rect": )" +
           rect(x, y, width, height) + more + "}";
}

void FakeSway::accept() {
    if (_client < 0) {
        _client = ::accept4(_listening, nullptr, nullptr, SOCK_CLOEXEC);
    }
}

#pragma once

#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// A socket of Sway's, of this process. It says what the test says, and never blocks.
class FakeSway {
  public:
    static constexpr std::uint32_t kSubscribe = 2;
    static constexpr std::uint32_t kGetTree = 4;
    static constexpr std::uint32_t kWorkspaceEvent = 0x80000000;
    static constexpr std::uint32_t kWindowEvent = 0x80000003;

    /// Where the socket is: where SWAYSOCK says, or in the runtime folder without the variable.
    enum class Place { Named, Usual };

    explicit FakeSway(Place place = Place::Named);
    ~FakeSway();
    FakeSway(const FakeSway &) = delete;
    FakeSway &operator=(const FakeSway &) = delete;

    /// The kinds of all requests so far.
    const std::vector<std::uint32_t> &requests();

    /// Sends bytes to the client, as many as it takes at once.
    void send(std::string_view bytes);
    void say(std::uint32_t kind, std::string_view text) { send(message(kind, text)); }
    void hangUp();

    static std::string message(std::uint32_t kind, std::string_view text);

    /// A tree with the output "A" of 640x480 points and these nodes on its workspace, which fills
    /// the output. `floating` lists floating nodes.
    static std::string tree(const std::string &nodes, const std::string &floating = "");

    /// A visible window; `more` begins with a comma.
    static std::string window(int x, int y, int width, int height, const std::string &more = "");

  private:
    void accept();

    TemporaryFolder _folder;
    const std::string _path;
    EnvironmentVariable _variable;
    EnvironmentVariable _runtimeFolder;
    int _listening = -1;
    int _client = -1;
    std::string _received;
    std::vector<std::uint32_t> _requests;
};

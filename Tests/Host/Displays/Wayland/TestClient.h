#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// Another client on a Wayland desktop, with a window of one colour and a virtual pointer. Every
/// call returns when the compositor has done what was asked for.
class TestClient {
  public:
    explicit TestClient(const std::string &socket);
    ~TestClient();

    TestClient(const TestClient &) = delete;
    TestClient &operator=(const TestClient &) = delete;

    enum class WindowKind { Usual, Maximized, FullScreen };

    /// Shows the window in the colour 0xFFRRGGBB and the size that the compositor wants; 200x100 if
    /// it wants none.
    void openWindow(std::uint32_t color, WindowKind kind);
    void closeWindow();

    /// Answers the compositor's pending events.
    void serve();

    /// Moves the pointer to a place on a desktop of that size, and clicks.
    void click(unsigned x, unsigned y, unsigned width, unsigned height);

  private:
    struct State;

    std::unique_ptr<State> _state;
};

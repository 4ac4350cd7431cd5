#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// Another program on a Wayland desktop: it has a window in one colour, and a hand at the mouse.
/// Every call returns when the compositor has done what was asked for.
class TestClient {
  public:
    explicit TestClient(const std::string &socket);
    ~TestClient();

    TestClient(const TestClient &) = delete;
    TestClient &operator=(const TestClient &) = delete;

    enum class WindowKind { Usual, Maximized, FullScreen };

    /// Shows the window, 0xFFRRGGBB, in the size that the compositor wants; 200x100 if any.
    void openWindow(std::uint32_t color, WindowKind kind);
    void closeWindow();

    /// Answers what the compositor has asked for meanwhile.
    void serve();

    /// Moves the mouse to a place on a desktop of that size, and clicks there.
    void click(unsigned x, unsigned y, unsigned width, unsigned height);

  private:
    struct State;

    std::unique_ptr<State> _state;
};

#pragma once

#include "Host/Displays/PointerGestures.h"
#include "Platform/Compositor/Compositor.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <functional>
#include <string>
#include <vector>

namespace Lumivera {

/// The actions that keys ask for.
enum class WindowKey {
    Pause,
    MorePetals,
    FewerPetals,
    Up,
    Down,
    Left,
    Right,
    PageUp,
    PageDown,
    First,
    Last,
    Use,
    Screenshot,
    FullScreen,
    Quit,
};

/// True for actions that repeat while their key is held.
inline bool asksWhileHeld(WindowKey key) {
    return key >= WindowKey::MorePetals && key <= WindowKey::PageDown;
}

/// A window, or its stand-in in a view's process: shows pictures and receives input. It is also the
/// main run loop's waiter. Main thread, except wake().
class Window : public RunLoopWaiter {
  public:
    /// Hears of input and changes, in call-outs of the main run loop.
    class Listener : public PointerListener {
      public:
        virtual void windowResized() = 0;
        virtual void windowVisibilityChanged() = 0;

        /// The window system has lost the picture; it has to be presented again.
        virtual void windowNeedsPicture() = 0;
        virtual void windowClosed() = 0;
        virtual void keyPressed(WindowKey key) = 0;

      protected:
        ~Listener() = default;
    };

    /// Not owned; null for none.
    virtual void setListener(Listener *listener) = 0;

    /// In points; a whole number of pixels.
    virtual CGSize size() const = 0;

    /// Pixels a point.
    virtual CGFloat density() const = 0;

    /// False while it is known that nobody can see it.
    virtual bool isVisible() const = 0;

    /// Draws into the target and returns the damage, as Compositor::composite() does.
    using Drawing = std::function<const std::vector<DeviceRect> &(const CompositorTarget &)>;

    /// Lets `draw` draw into the window's pixels and shows them. Does nothing while there is no
    /// buffer to draw into.
    virtual void present(const Drawing &draw) = 0;

    virtual void setTitle(const std::string &title) = 0;
    virtual void toggleFullScreen() = 0;
};

} // namespace Lumivera

#pragma once

#include "Host/Displays/PointerGestures.h"
#include "Platform/Compositor/Compositor.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <functional>
#include <string>
#include <vector>

namespace Lumivera {

/// The actions that keys ask for.
enum class DisplayKey {
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
inline bool asksWhileHeld(DisplayKey key) {
    return key >= DisplayKey::MorePetals && key <= DisplayKey::PageDown;
}

/// A window, or its stand-in in a view's process: shows pictures and receives input. It is also the
/// main run loop's waiter. Main thread, except wake().
class Display : public RunLoopWaiter {
  public:
    /// Hears of input and changes, in call-outs of the main run loop.
    class Listener : public PointerListener {
      public:
        virtual void displayResized() = 0;
        virtual void displayVisibilityChanged() = 0;

        /// The window system has lost the picture; it has to be presented again.
        virtual void displayNeedsPicture() = 0;
        virtual void displayClosed() = 0;
        virtual void keyPressed(DisplayKey key) = 0;

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

    /// Lets `draw` draw into the display's pixels and shows them. Does nothing while there is no
    /// buffer to draw into.
    virtual void present(const Drawing &draw) = 0;

    virtual void setTitle(const std::string &title) = 0;
    virtual void toggleFullScreen() = 0;
};

} // namespace Lumivera

#pragma once

#include "Host/Displays/PointerListener.h"
#include "Platform/Compositor/Compositor.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <functional>
#include <string>
#include <vector>

namespace Lumivera {

/// What the keys ask for.
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

/// True for keys that, while they are held, go on asking; the others ask once.
inline bool asksWhileHeld(DisplayKey key) {
    return key >= DisplayKey::MorePetals && key <= DisplayKey::PageDown;
}

/// A place on a screen where a picture is shown, and its input. Also the main run loop's way to
/// wait. Main thread but for wake().
class Display : public RunLoopWaiter {
  public:
    /// Hears of input and changes, in call-outs of the main run loop.
    class Listener : public PointerListener {
      public:
        virtual void displayResized() = 0;
        virtual void displayVisibilityChanged() = 0;

        /// What was shown is lost.
        virtual void displayNeedsPicture() = 0;
        virtual void displayClosed() = 0;
        virtual void keyPressed(DisplayKey key) = 0;

      protected:
        ~Listener() = default;
    };

    /// Not owned; null for none.
    virtual void setListener(Listener *listener) = 0;

    /// In points; whole pixels.
    virtual CGSize size() const = 0;

    /// Pixels a point.
    virtual CGFloat density() const = 0;

    /// False while nobody can see it.
    virtual bool isVisible() const = 0;

    /// Draws into the display's pixels and tells what to show anew, as Compositor::composite()
    /// does.
    using Drawing = std::function<const std::vector<DeviceRect> &(const CompositorTarget &)>;

    /// Lets `draw` fill the display's pixels and shows them. Nothing happens while there are none.
    virtual void present(const Drawing &draw) = 0;

    virtual void setTitle(const std::string &title) = 0;
    virtual void toggleFullScreen() = 0;
};

} // namespace Lumivera

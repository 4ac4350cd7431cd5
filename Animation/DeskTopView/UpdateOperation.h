#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/Foundation/NSOperation.h"
#include "Platform/Foundation/Retained.h"
#include "Platform/Foundation/TreeLock.h"
#include "Platform/Foundation/Weak.h"

#include <string_view>

/// The delegate that an UpdateOperation drives. Implemented by classes that derive from NSObject.
class WALLPAPER_EXPORT UpdateOperationDelegate {
  public:
    virtual bool respondsToSelector(std::string_view selector) const {
        return selector == "runLoop";
    }

    /// Runs the animation until it is stopped; blocks.
    virtual void runLoop() = 0;

  protected:
    virtual ~UpdateOperationDelegate() = default;
};

/// The clock of one run of the animation: runs the delegate's runLoop on the operation's thread.
class WALLPAPER_EXPORT UpdateOperation final : public NSOperation {
  public:
    UpdateOperation() = default;

    /// Not owned; null once the delegate is destroyed. Any thread.
    Retained<UpdateOperationDelegate> delegate() const { return _delegate.get().lock(); }
    void setDelegate(UpdateOperationDelegate *delegate) {
        _delegate.set(Weak<UpdateOperationDelegate>(delegate));
    }

    /// Returns at once without a delegate, or when the delegate does not respond to "runLoop".
    /// Keeps the delegate alive during its loop.
    void main() override;

  private:
    ~UpdateOperation() override = default;

    TreeValue<Weak<UpdateOperationDelegate>> _delegate;
};

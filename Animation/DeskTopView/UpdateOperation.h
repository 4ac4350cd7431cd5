#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/Foundation/NSOperation.h"
#include "Platform/Foundation/Retained.h"
#include "Platform/Foundation/TreeLock.h"
#include "Platform/Foundation/Weak.h"

#include <string_view>

/// Whom an UpdateOperation drives. Implemented by classes that derive from NSObject.
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

/// The clock of one run of the animation: hands its thread to the delegate's runLoop.
class WALLPAPER_EXPORT UpdateOperation final : public NSOperation {
  public:
    UpdateOperation() = default;

    /// The delegate is not owned and reads as null once it dies. Any thread.
    Retained<UpdateOperationDelegate> delegate() const { return _delegate.get().lock(); }
    void setDelegate(UpdateOperationDelegate *delegate) {
        _delegate.set(Weak<UpdateOperationDelegate>(delegate));
    }

    /// Ends at once without a delegate or with one that does not answer runLoop. Keeps the delegate
    /// alive during its loop.
    void main() override;

  private:
    ~UpdateOperation() override = default;

    TreeValue<Weak<UpdateOperationDelegate>> _delegate;
};

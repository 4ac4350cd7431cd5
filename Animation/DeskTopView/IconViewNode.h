#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/UIKit/UIImage.h"

/// One application's icon and its state. The objects are retained, not copied, and may be null. One
/// thread at a time.
class WALLPAPER_EXPORT IconViewNode : public NSObject {
  public:
    IconViewNode() = default;

    NSString *appID() const { return fields.appID.get(); }
    void setAppID(NSString *appID) { fields.appID = Retained<NSString>(appID); }

    NSString *appName() const { return fields.appName.get(); }
    void setAppName(NSString *appName) { fields.appName = Retained<NSString>(appName); }

    UIImage *appicon() const { return fields.appicon.get(); }
    void setAppicon(UIImage *appicon) { fields.appicon = Retained<UIImage>(appicon); }

    bool isRunning() const { return fields.isRunning; }
    void setIsRunning(bool running) { fields.isRunning = running; }

  protected:
    ~IconViewNode() override;

  private:
    // In a struct, so that the fields may have the names of their accessors.
    struct {
        Retained<NSString> appID;
        Retained<NSString> appName;
        Retained<UIImage> appicon;
        bool isRunning = false;
    } fields;
};

#pragma once

#include "Animation/DeskTopView/DeskTopView.h"
#include "Animation/DeskTopView/FallingSakuraView/Sakura.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSMutableArray.h"
#include "Platform/Foundation/NSMutableDictionary.h"
#include "Platform/UIKit/UIColor.h"

#include <string>

class NSTimer;
class UILabel;

/// The falling-petal wallpaper: a background picture and, in front of it, petals in three depth
/// layers that fall, come back at the top and scatter from a tap.
class WALLPAPER_EXPORT LumiveraView : public DeskTopView {
  public:
    static const char *name() { return ""; }

    static Retained<LumiveraView> initWithFrame(const CGRect &frame);

    /// Takes the petal count ("sakura Count": 1 to 300, 0 or missing is 120) and the speed level
    /// ("falling Speed": 0 or more) from the bundle's description; without one nothing changes.
    void readDescriptionFileWithBundle(NSBundle *bundle);

    /// Shows the background, makes the three layers and starts the animation. Resource thread.
    void initResource() override;

    void doAnimating() override;
    void tapActionAtViewPoint(CGPoint point) override;

    /// Code 2 is a tap; every other code does nothing.
    void gestureAction_atPoint(std::int32_t code, CGPoint point) override;

    /// Gives every petal, present and future, new motion at that level (0 or more).
    void setSpeedLevel(NSInteger level) override;

    /// The accelerometer and its sample are the host's; the wallpaper ignores tilt.
    void accelerometer_didAccelerate(const void *accelerometer, const void *acceleration);

    /// Tints the background that is shown now (null: not at all), so that twice tints twice.
    void setBgColor(const UIColor *color);

    /// Brings the number of petals to sakuraCount().
    void adjustSakuras();

    /// True when the petal is a whole petal size beyond the area 0, 0, width, height of `rect`.
    bool isSakura_outOfBounds(const Sakura *petal, const CGRect &rect) const;

    /// True when the next petal may be recycled: 5 × scale seconds ÷ sakuraCount() apart.
    bool timeCome();

    /// Splits `total` petals over `levels` layers, the first getting the most; writes `levels`
    /// counts, whose sum may differ from the total.
    static void calculateLevelCount_withTotal_withLevels(NSUInteger *counts, NSUInteger total,
                                                         NSUInteger levels);

    /// Puts a new petal in front of the layer's others: type 1 scattered over the layer, type 0
    /// entering from the top, any other above the top edge.
    void generateSakuraWithType_withScale_inView(std::int32_t type, CGFloat scale, UIView *layer);

    /// The names that petals' pictures are drawn from; without any, petals show nothing from their
    /// next picture on. A new list gives every petal a new picture.
    Retained<NSArray<std::string>> sakuraImageNames() const { return _sakuraImageNames.get(); }
    void setSakuraImageNames(Retained<NSArray<std::string>> names);

    /// The number of petals wanted, from the next frame on.
    NSUInteger sakuraCount() const { return _sakuraCount; }
    void setSakuraCount(NSUInteger count) { _sakuraCount = count; }

    /// Kept for the host; changes nothing on screen. Not owned by the caller.
    UIColor *sakuraMaskColor() const { return _sakuraMaskColor.get(); }
    void setSakuraMaskColor(Retained<UIColor> color);

    /// How many times its size a petal gets when it is recycled.
    std::int32_t sakuraScaleLevel() const { return _sakuraScaleLevel.get(); }
    void setSakuraScaleLevel(std::int32_t level) { _sakuraScaleLevel.set(level); }

    /// The bundle's whole description; null without one.
    Retained<NSDictionary> descriptionFile() const { return _descriptionFile; }
    void setDescriptionFile(Retained<NSDictionary> file) { _descriptionFile = std::move(file); }

  protected:
    explicit LumiveraView(const CGRect &frame);
    ~LumiveraView() override;

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    template <class Action> void forEachSakura(Action action);
    Retained<UIImage> drawImage() const;

    TreeValue<Retained<NSArray<std::string>>> _sakuraImageNames;
    Retained<NSMutableDictionary<UIImage>> _sakuraImageCache;
    TreeValue<Retained<NSMutableArray<UIView>>> _sakuraLevleViews;
    [[maybe_unused]] NSInteger _sakurasPositionIndex = 0;
    NSUInteger _sakuraCount = 0;
    NSUInteger _sakuraTotal = 0;
    TreeValue<UIColor *> _sakuraMaskColor;
    TreeValue<std::int32_t> _sakuraScaleLevel;
    NSInteger _sakuraFallingSpeedLevel = 0;
    Retained<NSDictionary> _descriptionFile;
    [[maybe_unused]] NSTimer *_updateInfoTimer = nullptr;
    [[maybe_unused]] UILabel *_memorryLabel = nullptr;
    [[maybe_unused]] UILabel *_batteryLabel = nullptr;
};

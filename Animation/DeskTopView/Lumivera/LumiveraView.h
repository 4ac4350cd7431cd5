#pragma once

#include "Animation/DeskTopView/DeskTopView.h"
#include "Animation/DeskTopView/FallingSakuraView/Sakura.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
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

    /// Sets the petal count ("sakura Count": 1 to 300; 0 or missing is 120) and the speed level
    /// ("falling Speed": 0 or more) from the bundle's description. Without one nothing changes.
    void readDescriptionFileWithBundle(NSBundle *bundle);

    /// Shows the background, makes the three layers and starts the animation. Resource thread.
    void initResource() override;

    void doAnimating() override;
    void tapActionAtViewPoint(CGPoint point) override;

    /// Code 2 is a tap; every other code does nothing.
    void gestureAction_atPoint(std::int32_t code, CGPoint point) override;

    /// Gives every petal new random motion at that level (0 or more), which new petals get too.
    void setSpeedLevel(NSInteger level) override;

    /// Ignored.
    void accelerometer_didAccelerate(const void *accelerometer, const void *acceleration);

    /// Tints the background as it is shown now, so that tints add up. Null does not tint.
    void setBgColor(const UIColor *color);

    /// Brings the number of petals to sakuraCount().
    void adjustSakuras();

    /// True when the petal's centre is more than a petal's size outside of (0, 0, width, height of
    /// `rect`).
    bool isSakura_outOfBounds(const Sakura *petal, const CGRect &rect) const;

    /// True when the next petal may be recycled: at most one in 5 × scale ÷ sakuraCount() seconds.
    bool timeCome();

    /// Divides `total` petals among `levels` layers, the first getting the most. Writes `levels`
    /// numbers to `counts`; their sum may differ from the total.
    static void calculateLevelCount_withTotal_withLevels(NSUInteger *counts, NSUInteger total,
                                                         NSUInteger levels);

    /// Adds a new petal in front of the layer's others. Type 1 puts it anywhere on the layer, type
    /// 0 at the top edge, any other type above the top edge.
    void generateSakuraWithType_withScale_inView(std::int32_t type, CGFloat scale, UIView *layer);

    /// The names that petals' pictures are chosen from at random. Setting a new list gives every
    /// petal a new picture; without names a petal's next picture is null.
    Retained<NSArray<std::string>> sakuraImageNames() const { return _sakuraImageNames.get(); }
    void setSakuraImageNames(Retained<NSArray<std::string>> names);

    /// The wanted number of petals. The next frame adds or removes petals.
    NSUInteger sakuraCount() const { return _sakuraCount; }
    void setSakuraCount(NSUInteger count) { _sakuraCount = count; }

    /// Stored for the host; has no effect. Not owned by the caller.
    UIColor *sakuraMaskColor() const { return _sakuraMaskColor.get(); }
    void setSakuraMaskColor(Retained<UIColor> color);

    /// The factor by which a petal is enlarged when it is recycled.
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

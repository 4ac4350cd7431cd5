#pragma once

#include "Platform/QuartzCore/RunningAnimation.h"

#include <string>
#include <string_view>

class CALayer;

/// The animations of one layer under their keys, in the order in which they were added. Main
/// thread; const members are for any thread that holds the view tree. A delegate may do anything to
/// the layer while it is told of a stop: the callers keep the layer alive.
class LayerAnimations {
  public:
    explicit LayerAnimations(CALayer &layer) : _layer(layer) {}

    /// Tells no delegates.
    ~LayerAnimations();

    LayerAnimations(const LayerAnimations &) = delete;
    LayerAnimations &operator=(const LayerAnimations &) = delete;

    bool isEmpty() const { return _entries.empty(); }

    /// Replaces the animation under the key, whose delegate is told afterwards.
    void add(CAAnimation &animation, std::string_view key);
    void remove(std::string_view key);
    void removeAll();

    /// Null when there is none.
    Retained<CAAnimation> animationForKey(std::string_view key) const;

    /// Turns `values`, the layer's own, into those that it shows at `time`. True when an animation
    /// is in progress.
    bool apply(NSTimeInterval time, LayerValues &values) const;

    /// Called before the layer changes: remembers what it shows, once in each call-out.
    void changeBegins();

    /// Remembers the position and the transform shown now, even if changeBegins() has done so in
    /// this call-out.
    void keepShownPlace();

    /// True when the object holds nothing that a later change needs, so that it may be deleted.
    bool isForgettable() const;

  private:
    struct Entry {
        std::uint64_t number;
        std::string key;
        Retained<CAAnimation> animation;
        RunningAnimation running;

        /// The target of the entry's deferred calls; null when none is left.
        Retained<NSObject> calls;

        /// True once the delegate was told of the end.
        bool isStopped = false;
    };

    /// The values shown before the call-out changed anything.
    struct Before {
        std::uint64_t callOut = 0;
        LayerValues shown;
    };

    const Entry *find(std::string_view key) const;
    Entry *find(std::uint64_t number);
    void remove(std::uint64_t number);
    void stop(Entry &entry, bool finished);
    Entry erase(const Entry &entry);
    void ends(std::uint64_t number);
    void begins(std::uint64_t number);
    static void cancelCalls(const Entry &entry);
    void schedule(const Entry &entry, NSTimeInterval now);
    void defer(const Entry &entry, NSTimeInterval delay,
               void (LayerAnimations::*action)(std::uint64_t));

    CALayer &_layer;
    std::vector<Entry> _entries;
    Before _before;
    int _telling = 0;
};

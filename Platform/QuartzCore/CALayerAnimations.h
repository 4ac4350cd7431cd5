#pragma once

#include "Platform/QuartzCore/CARunningAnimation.h"

#include <string>
#include <string_view>

class CALayer;

/// The animations of one layer under their keys, in the order in which they were added. Main
/// thread but for what is const, which wants the view tree. A delegate may do anything to the layer
/// while it is told of a stop, short of releasing it: the callers hold the layer.
class CALayerAnimations {
  public:
    explicit CALayerAnimations(CALayer &layer) : _layer(layer) {}

    /// The layer goes: nobody is told.
    ~CALayerAnimations();

    CALayerAnimations(const CALayerAnimations &) = delete;
    CALayerAnimations &operator=(const CALayerAnimations &) = delete;

    bool isEmpty() const { return _entries.empty(); }

    /// Replaces the one under the key, whose delegate is told afterwards.
    void add(CAAnimation &animation, std::string_view key);
    void remove(std::string_view key);
    void removeAll();

    /// Null when there is none.
    Retained<CAAnimation> animationForKey(std::string_view key) const;

    /// Puts what the layer shows at `time` into `values`, which hold its own ones. True when an
    /// animation is in progress.
    bool apply(NSTimeInterval time, CALayerValues &values) const;

    /// Keeps what the layer shows, unless that was done in this call-out.
    void changeBegins();

    /// Keeps the position and the transform in any case.
    void keepShownPlace();

    /// Nothing is left that a later change could need.
    bool isForgettable() const;

  private:
    struct Entry {
        std::uint64_t number;
        std::string key;
        Retained<CAAnimation> animation;
        CARunningAnimation running;

        /// The target of the entry's deferred calls; null when none is left.
        Retained<NSObject> calls;

        /// Its delegate knows of its end.
        bool isStopped = false;
    };

    /// What was shown before the call-out changed anything.
    struct Before {
        std::uint64_t callOut = 0;
        CALayerValues shown;
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
               void (CALayerAnimations::*action)(std::uint64_t));

    CALayer &_layer;
    std::vector<Entry> _entries;
    Before _before;
    int _telling = 0;
};

#pragma once

#include "Platform/QuartzCore/CALayer.h"

#include <functional>
#include <string>
#include <vector>

/// Records the stops of animations under one key of a layer, and may run a function at each.
class AnimationListener final : public NSObject, public CAAnimationDelegate {
  public:
    explicit AnimationListener(CALayer &layer, std::string key = "key")
        : _layer(&layer), _key(std::move(key)) {}

    void animationDidStop_finished(CAAnimation *animation, bool finished) override {
        const Retained<CALayer> layer = _layer.lock();
        const bool isUnderKey = layer && layer->animationForKey(_key) == animation;
        stops.push_back({animation, finished, isUnderKey});
        if (then) {
            then();
        }
    }

    struct Stop {
        const CAAnimation *animation;
        bool isFinished;
        bool isUnderKey;

        friend bool operator==(const Stop &, const Stop &) = default;
    };

    std::vector<Stop> stops;
    std::function<void()> then;

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    ~AnimationListener() override = default;

    const Weak<CALayer> _layer;
    const std::string _key;
};

#include "Platform/UIKit/UIView.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

// Measures what an animation asks of its views in every frame. The plain structs beside them are
// the least that the same numbers could cost.

namespace {

constexpr CGRect kFrame{{10, 20}, {30, 24}};

/// A view with many subviews, as a layer of petals is.
struct Crowd {
    explicit Crowd(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto view = UIView::initWithFrame(kFrame);
            root->addSubview(view.get());
        }
    }

    Retained<UIView> root = UIView::initWithFrame({{0, 0}, {1280, 800}});
};

struct PlainPetal {
    CGPoint center;
    CGSize size{30, 24};
    CGFloat angle = 0;
    CATransform3D transform;
};

bool isOut(CGPoint center, CGSize size) {
    return center.x < -size.width || center.x > 1280 + size.width || center.y < -size.height ||
           center.y > 800 + size.height;
}

/// Moves and rotates every subview and reads its frame: one frame of falling petals.
void stepViews(const UIView &root, CGFloat angle, NSUInteger &outside) {
    for (NSUInteger i = 0; i < root.subviewCount(); ++i) {
        UIView *view = root.subviewAtIndex(i);
        const CGPoint from = view->center();
        view->setCenter({from.x + 0.01, from.y + 0.02});
        const CGFloat own = angle + static_cast<CGFloat>(i);
        view->layer()->setTransform(CATransform3DMakeRotation(own, 0, 0, 1));
        outside += isOut(view->center(), view->frame().size) ? 1 : 0;
    }
}

void stepPlain(std::vector<PlainPetal> &petals, CGFloat angle, NSUInteger &outside) {
    for (std::size_t i = 0; i < petals.size(); ++i) {
        PlainPetal &petal = petals[i];
        petal.center = {petal.center.x + 0.01, petal.center.y + 0.02};
        const CGFloat own = angle + static_cast<CGFloat>(i);
        const CGFloat s = std::sin(own);
        const CGFloat c = std::cos(own);
        petal.transform.m11 = petal.transform.m22 = c;
        petal.transform.m12 = s;
        petal.transform.m21 = -s;
        const CGSize box{std::fabs(c) * petal.size.width + std::fabs(s) * petal.size.height,
                         std::fabs(s) * petal.size.width + std::fabs(c) * petal.size.height};
        outside += isOut(petal.center, box) ? 1 : 0;
    }
}

void stepOfViews(benchmark::State &state) {
    const Crowd crowd(static_cast<std::size_t>(state.range(0)));
    CGFloat angle = 0;
    NSUInteger outside = 0;
    for (auto _ : state) {
        stepViews(*crowd.root, angle += 0.03, outside);
        state.PauseTiming();
        crowd.root->layer()->didComposite();
        state.ResumeTiming();
    }
    benchmark::DoNotOptimize(outside);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(stepOfViews)->Arg(300)->Arg(100'000);

void stepOfPlainStructs(benchmark::State &state) {
    std::vector<PlainPetal> petals(static_cast<std::size_t>(state.range(0)));
    CGFloat angle = 0;
    NSUInteger outside = 0;
    for (auto _ : state) {
        stepPlain(petals, angle += 0.03, outside);
    }
    benchmark::DoNotOptimize(outside);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(stepOfPlainStructs)->Arg(300)->Arg(100'000);

void setCenter(benchmark::State &state) {
    const auto view = UIView::initWithFrame(kFrame);
    CGFloat x = 0;
    for (auto _ : state) {
        view->setCenter({x += 0.5, 3});
    }
}
BENCHMARK(setCenter);

void center(benchmark::State &state) {
    const auto view = UIView::initWithFrame(kFrame);
    for (auto _ : state) {
        benchmark::DoNotOptimize(view->center());
    }
}
BENCHMARK(center);

void setTransform(benchmark::State &state) {
    const auto view = UIView::initWithFrame(kFrame);
    CATransform3D transform = CATransform3DIdentity;
    for (auto _ : state) {
        transform.m11 += 1;
        view->layer()->setTransform(transform);
    }
}
BENCHMARK(setTransform);

void makeRotation(benchmark::State &state) {
    CGFloat angle = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(CATransform3DMakeRotation(angle += 0.03, 0, 0, 1));
    }
}
BENCHMARK(makeRotation);

void frameOfRotatedView(benchmark::State &state) {
    const auto view = UIView::initWithFrame(kFrame);
    view->layer()->setTransform(CATransform3DMakeRotation(1, 0, 0, 1));
    for (auto _ : state) {
        benchmark::DoNotOptimize(view->frame());
    }
}
BENCHMARK(frameOfRotatedView);

void setFrame(benchmark::State &state) {
    const auto view = UIView::initWithFrame(kFrame);
    CGFloat x = 0;
    for (auto _ : state) {
        view->setFrame({{x += 0.5, 3}, {x, 4}});
    }
}
BENCHMARK(setFrame);

void createAndDestroySubviews(benchmark::State &state) {
    for (auto _ : state) {
        const Crowd crowd(static_cast<std::size_t>(state.range(0)));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(createAndDestroySubviews)->Arg(300)->Arg(100'000);

} // namespace

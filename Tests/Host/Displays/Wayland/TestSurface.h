#pragma once

#include "Tests/Host/Displays/Wayland/TestCompositor.h"

#include <cstdint>
#include <string>
#include <vector>

struct wl_client;
struct wl_resource;

/// A surface of the test compositor, with its roles; only for the compositor's thread.
class TestSurface {
  public:
    /// State that all surfaces of a compositor share. Buffers are kept by their ids, because the
    /// client may destroy them at any time.
    struct Rules {
        bool withholdsFrames = false;
        bool withholdsReleases = false;
        std::vector<wl_resource *> heldFrames;
        std::vector<std::uint32_t> heldBuffers;
        wl_client *client = nullptr;

        void sendFrames();
        void sendReleases();
    };

    TestSurface(wl_client *client, std::uint32_t version, std::uint32_t id, Rules &rules);

    TestSurface(const TestSurface &) = delete;
    TestSurface &operator=(const TestSurface &) = delete;

    static TestSurface &of(wl_resource *surface);
    static void makeRegion(wl_client *client, std::uint32_t version, std::uint32_t id);

    void makeLayer(std::uint32_t id, std::uint32_t version, const std::string &output,
                   std::uint32_t layer, const std::string &purpose);
    void makeViewport(std::uint32_t id);
    void makeFractionalScale(std::uint32_t id);

    void configure(unsigned width, unsigned height);

    /// Null when the output has gone.
    wl_resource *resource() const { return _resource; }
    wl_resource *layer() const { return _layer; }
    wl_resource *fractionalScale() const { return _fractionalScale; }
    const TestCompositor::Surface &current() const { return _current; }

  private:
    struct Requests;

    void makePart(wl_resource *&part, const void *interface, std::uint32_t version,
                  std::uint32_t id, const void *requests);
    void commit();
    void showAttached();

    Rules &_rules;
    wl_resource *_resource = nullptr;
    wl_resource *_layer = nullptr;
    wl_resource *_viewport = nullptr;
    wl_resource *_fractionalScale = nullptr;
    TestCompositor::Surface _pending;
    TestCompositor::Surface _current;
    wl_resource *_attached = nullptr;
    std::uint32_t _shown = 0;
    std::vector<wl_resource *> _frames;
    std::uint32_t _serial = 0;
};

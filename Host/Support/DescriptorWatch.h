#pragma once

namespace Lumivera {

/// Something that events come from through a file descriptor. Main thread.
class DescriptorSource {
  public:
    virtual int descriptor() const = 0;

    /// What to wait for, as poll() calls it; POLLIN unless overridden.
    virtual short awaitedEvents() const;

    /// Right before every wait, outside of call-outs: sends what is pending. True when something
    /// has arrived already, so that there is nothing to wait for.
    virtual bool prepareToWait() { return false; }

    /// In a call-out of the main run loop, after the descriptor became ready; also when it was
    /// closed at its other end.
    virtual void serve() = 0;

  protected:
    ~DescriptorSource() = default;
};

/// Whoever waits for descriptors and has their sources served. Main thread.
class DescriptorWatch {
  public:
    /// Not owned. A removed source hears nothing any more, even within the call-out in progress.
    virtual void add(DescriptorSource &source) = 0;
    virtual void remove(DescriptorSource &source) = 0;

  protected:
    ~DescriptorWatch() = default;
};

} // namespace Lumivera

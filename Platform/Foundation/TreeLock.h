#pragma once

#include "Platform/Foundation/PlatformExport.h"

#include <utility>

/// True on the main thread: the one that loaded the platform. Read through
/// NSThread::isMainThread(); here so that the test costs one instruction.
extern PLATFORM_EXPORT __thread bool currentThreadIsMain __attribute__((tls_model("initial-exec")));

/// The lock of the view tree. The main thread holds it for as long as it runs and gives it up only
/// while it waits and between call-outs, so nothing on the main thread pays for it; another thread
/// takes it around each change. Threads get it in the order in which they asked. A thread that has
/// it must not wait for the main thread.
class PLATFORM_EXPORT TreeLock {
  public:
    /// Scope in which the main thread waits and other threads may change the tree. No effect on
    /// other threads. Scopes may nest.
    class PLATFORM_EXPORT Yield {
      public:
        Yield();
        ~Yield();
        Yield(const Yield &) = delete;
        Yield &operator=(const Yield &) = delete;
    };

    /// Main thread, between call-outs: the threads that want the tree now have it first, so that a
    /// main thread that always has something to do does not keep them out.
    static void yieldIfWanted();

  private:
    friend class TreeAccess;
    static void acquire();
    static void release();
};

/// Scope that touches the tree: nothing on the main thread, the lock elsewhere. Scopes may nest.
class TreeAccess {
  public:
    TreeAccess() {
        if (!currentThreadIsMain) {
            TreeLock::acquire();
        }
    }
    ~TreeAccess() {
        if (!currentThreadIsMain) {
            TreeLock::release();
        }
    }
    TreeAccess(const TreeAccess &) = delete;
    TreeAccess &operator=(const TreeAccess &) = delete;
};

/// A value that belongs to the view tree: the main thread reads and writes it as it is, other
/// threads between the main thread's call-outs. What get() returned on the main thread therefore
/// stays true until the call-out ends.
template <class T> class TreeValue {
  public:
    TreeValue() = default;
    explicit TreeValue(T value) : _value(std::move(value)) {}

    T get() const {
        const TreeAccess access;
        return _value;
    }

    /// For the main thread alone: the value in place.
    const T &peek() const { return _value; }

    void set(T value) {
        const TreeAccess access;
        std::swap(_value, value);
    }

  private:
    T _value{};
};

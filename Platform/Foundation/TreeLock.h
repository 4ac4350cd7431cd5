#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <utility>

/// True on the main thread, which is the one that loaded the platform. Declared here so that
/// NSThread::isMainThread() and TreeAccess are one instruction; use the former.
extern PLATFORM_EXPORT __thread bool currentThreadIsMain __attribute__((tls_model("initial-exec")));

/// The lock of the view tree. The main thread holds it while it runs and gives it up only while it
/// waits and between call-outs, so that access on the main thread costs nothing; other threads take
/// it around each change. Threads get it in the order in which they asked. A thread that holds it
/// must not wait for the main thread.
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

    /// Lets waiting threads take the lock first, so that a busy main thread does not starve them.
    /// Main thread, between call-outs.
    static void yieldIfWanted();

  private:
    friend class TreeAccess;
    static void acquire();
    static void release();
};

/// Scope in which the thread may use the tree: takes the lock, except on the main thread, which has
/// it. Scopes may nest.
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

/// A value that belongs to the view tree: the main thread reads and writes it without a lock, other
/// threads between the main thread's call-outs. So on the main thread the value changes during a
/// call-out only when the main thread itself sets it.
template <class T> class TreeValue {
  public:
    TreeValue() = default;
    explicit TreeValue(T value) : _value(std::move(value)) {}

    T get() const {
        const TreeAccess access;
        return _value;
    }

    /// The value itself. Main thread only.
    const T &peek() const { return _value; }

    void set(T value) {
        const TreeAccess access;
        std::swap(_value, value);
    }

  private:
    T _value{};
};

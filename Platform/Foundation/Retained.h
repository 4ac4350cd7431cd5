#pragma once

#include "Platform/Foundation/NSObject.h"

#include <cstddef>
#include <type_traits>
#include <utility>

/// The counted object behind a pointer: the pointer itself, or, for a protocol (an abstract class
/// that does not derive from NSObject), the object that implements it.
template <class T> NSObject *objectBehind(T *pointer) noexcept {
    if constexpr (std::is_base_of_v<NSObject, T>) {
        return const_cast<std::remove_const_t<T> *>(pointer);
    } else {
        return dynamic_cast<NSObject *>(const_cast<std::remove_const_t<T> *>(pointer));
    }
}

/// Owning pointer: retains the object that it is given and releases it in its destructor. As
/// thread-safe as a plain pointer.
template <class T> class Retained {
  public:
    Retained() noexcept = default;
    Retained(std::nullptr_t) noexcept {}
    explicit Retained(T *pointer) noexcept : _pointer(pointer) { retainPointer(); }
    Retained(const Retained &other) noexcept : _pointer(other._pointer) { retainPointer(); }
    Retained(Retained &&other) noexcept : _pointer(std::exchange(other._pointer, nullptr)) {}

    template <class U>
    requires std::is_convertible_v<U *, T *> Retained(const Retained<U> &other)
    noexcept : _pointer(other.get()) { retainPointer(); }

    template <class U>
    requires std::is_convertible_v<U *, T *> Retained(Retained<U> &&other)
    noexcept : _pointer(other.leak()) {}

    ~Retained() {
        if (_pointer) {
            objectBehind(_pointer)->release();
        }
    }

    Retained &operator=(Retained other) noexcept {
        std::swap(_pointer, other._pointer);
        return *this;
    }

    /// Takes over a reference that the caller holds, such as the first one of a new object.
    static Retained adopt(T *pointer) noexcept {
        Retained result;
        result._pointer = pointer;
        return result;
    }

    /// Gives the reference to the caller, who must release it.
    [[nodiscard]] T *leak() noexcept { return std::exchange(_pointer, nullptr); }

    T *get() const noexcept { return _pointer; }
    T *operator->() const noexcept { return _pointer; }
    T &operator*() const noexcept { return *_pointer; }
    explicit operator bool() const noexcept { return _pointer != nullptr; }

    friend bool operator==(const Retained &left, const Retained &right) noexcept {
        return left._pointer == right._pointer;
    }
    friend bool operator==(const Retained &left, const T *right) noexcept {
        return left._pointer == right;
    }

  private:
    void retainPointer() const noexcept {
        if (_pointer) {
            objectBehind(_pointer)->retain();
        }
    }

    T *_pointer = nullptr;
};

/// Makes an object; the result holds its first reference.
template <class T, class... Arguments> Retained<T> makeRetained(Arguments &&...arguments) {
    return Retained<T>::adopt(new T(std::forward<Arguments>(arguments)...));
}

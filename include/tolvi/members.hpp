#pragma once

// Record members: required<T> and optional<T> remember whether they were given a value, so a
// record can tell "never set" from "set to nothing" and the codecs can decide what to write.

#include <type_traits>
#include <utility>

#include <tolvi/context.hpp>
#include <tolvi/errors.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace detail {
struct member_access;
} // namespace detail

// The value that disengages an optional member: `led.period = tolvi::none;`
struct none_t {
    explicit constexpr none_t(int) noexcept {}
};
inline constexpr none_t none{0};

// A member that a complete document must carry. Unprovided until a value is assigned or read.
template <class T>
class required {
public:
    using value_type = T;

    required() = default;
    required(T v) : value_(std::move(v)), provided_(true) {}
    required& operator=(T v) {
        value_ = std::move(v);
        provided_ = true;
        return *this;
    }

    bool provided() const noexcept { return provided_; }

    // Throw missing_value when unprovided.
    T& get() {
        check();
        return value_;
    }
    T const& get() const {
        check();
        return value_;
    }
    T& operator*() { return get(); }
    T const& operator*() const { return get(); }
    T* operator->() { return &get(); }
    T const* operator->() const { return &get(); }

    // Builds a new value in place and provides the member.
    template <class... Args>
    T& emplace(Args&&... args) {
        value_ = T(std::forward<Args>(args)...);
        provided_ = true;
        return value_;
    }

    // Back to unprovided; the old value is released.
    void clear() {
        value_ = T();
        provided_ = false;
    }

private:
    friend struct detail::member_access;

    void check() const {
        if (!provided_) {
            missing_value::throw_one();
        }
    }

    T value_{};
    bool provided_ = false;
};

// A member that may be absent from a document (unprovided), present as null (disengaged) or
// present with a value (engaged).
template <class T>
class optional {
public:
    using value_type = T;

    optional() = default;
    optional(T v) : value_(std::move(v)), provided_(true), engaged_(true) {}
    optional(none_t) noexcept : provided_(true) {}
    optional& operator=(T v) {
        value_ = std::move(v);
        provided_ = engaged_ = true;
        return *this;
    }
    optional& operator=(none_t) {
        disengage();
        return *this;
    }

    bool provided() const noexcept { return provided_; }
    bool engaged() const noexcept { return engaged_; }
    optional_quality quality() const noexcept {
        return detail::get_optional_quality(provided_, engaged_);
    }

    // Throw missing_value when unprovided and disengaged_value when disengaged.
    T& get() {
        check();
        return value_;
    }
    T const& get() const {
        check();
        return value_;
    }
    T& operator*() { return get(); }
    T const& operator*() const { return get(); }
    T* operator->() { return &get(); }
    T const* operator->() const { return &get(); }

    // The value when engaged, otherwise the fallback; never throws for a missing value.
    template <class U>
    T value_or(U&& fallback) const {
        return engaged_ ? value_ : static_cast<T>(std::forward<U>(fallback));
    }

    template <class... Args>
    T& emplace(Args&&... args) {
        value_ = T(std::forward<Args>(args)...);
        provided_ = engaged_ = true;
        return value_;
    }

    // Provided, without a value: written as null.
    void disengage() {
        value_ = T();
        provided_ = true;
        engaged_ = false;
    }

    // Back to unprovided: left out of documents.
    void clear() {
        value_ = T();
        provided_ = engaged_ = false;
    }

private:
    friend struct detail::member_access;

    void check() const {
        if (!provided_) {
            missing_value::throw_one();
        }
        if (!engaged_) {
            disengaged_value::throw_one();
        }
    }

    T value_{};
    bool provided_ = false;
    bool engaged_ = false;
};

namespace detail {

template <class W>
struct is_member_wrapper : std::false_type {};
template <class T>
struct is_member_wrapper<required<T>> : std::true_type {};
template <class T>
struct is_member_wrapper<optional<T>> : std::true_type {};

// What the codecs need and users should not: the raw value and the flags, without checks.
struct member_access {
    template <class T>
    static T& raw(required<T>& m) noexcept {
        return m.value_;
    }
    template <class T>
    static T const& raw(required<T> const& m) noexcept {
        return m.value_;
    }
    template <class T>
    static T& raw(optional<T>& m) noexcept {
        return m.value_;
    }
    template <class T>
    static T const& raw(optional<T> const& m) noexcept {
        return m.value_;
    }

    template <class T>
    static bool holds_value(required<T> const& m) noexcept {
        return m.provided_;
    }
    template <class T>
    static bool holds_value(optional<T> const& m) noexcept {
        return m.engaged_;
    }

    template <class T>
    static void mark_held(required<T>& m) noexcept {
        m.provided_ = true;
    }
    template <class T>
    static void mark_held(optional<T>& m) noexcept {
        m.provided_ = m.engaged_ = true;
    }
};

} // namespace detail

} // namespace v1
} // namespace tolvi
} // namespace korvax

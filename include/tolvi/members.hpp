#pragma once

// Record members: required<T> and optional<T> remember whether they were given a value, so a
// record can tell "never set" from "set to nothing" and the codecs can decide what to write. They
// meet the standard library halfway: std::nullopt and std::optional<T> assign to them, they convert
// to std::optional<T>, and they compare with ==.
//
// A record member may also be a plain value (`std::string name;`): required in a whole document,
// always provided. member_form tells the record codec, for each declared member type, what the
// member holds; std::optional<T> members have theirs in detail/std_optional.hpp.

#include <optional>
#include <type_traits>
#include <utility>

#include <tolvi/context.hpp>
#include <tolvi/errors.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace detail {

template <class W>
struct member_form;

// == and != of a member wrapper W against a T, std::nullopt and a std::optional<T>: W compares as
// the std::optional<T> it converts to, holding a value or not.
template <class W, class T>
class compares_as_optional {
    static bool holds(W const& w) noexcept { return member_form<W>::quality(w) == engaged; }

    friend bool operator==(W const& a, T const& b) {
        return holds(a) && member_form<W>::raw(a) == b;
    }
    friend bool operator==(T const& a, W const& b) { return b == a; }
    friend bool operator!=(W const& a, T const& b) { return !(a == b); }
    friend bool operator!=(T const& a, W const& b) { return !(b == a); }
    friend bool operator==(W const& a, std::nullopt_t) noexcept { return !holds(a); }
    friend bool operator==(std::nullopt_t, W const& a) noexcept { return !holds(a); }
    friend bool operator!=(W const& a, std::nullopt_t) noexcept { return holds(a); }
    friend bool operator!=(std::nullopt_t, W const& a) noexcept { return holds(a); }
    // Templates, so that a value that converts to both T and std::optional<T> picks T.
    template <class U, class = std::enable_if_t<std::is_same<U, T>::value>>
    friend bool operator==(W const& a, std::optional<U> const& b) {
        return b.has_value() ? a == *b : !holds(a);
    }
    template <class U, class = std::enable_if_t<std::is_same<U, T>::value>>
    friend bool operator==(std::optional<U> const& b, W const& a) {
        return a == b;
    }
    template <class U, class = std::enable_if_t<std::is_same<U, T>::value>>
    friend bool operator!=(W const& a, std::optional<U> const& b) {
        return !(a == b);
    }
    template <class U, class = std::enable_if_t<std::is_same<U, T>::value>>
    friend bool operator!=(std::optional<U> const& b, W const& a) {
        return !(a == b);
    }
};

// What both member wrappers W give of the T they hold: get(), which throws as W::check() says
// when it holds no value, * and ->; and the assignment of a std::optional<T>, a value or
// std::nullopt.
template <class W, class T>
class holds_value {
public:
    T& get() {
        self().check();
        return self().value_;
    }
    T const& get() const {
        self().check();
        return self().value_;
    }
    T& operator*() { return get(); }
    T const& operator*() const { return get(); }
    T* operator->() { return &get(); }
    T const* operator->() const { return &get(); }

    template <class U, class = std::enable_if_t<std::is_same<U, T>::value>>
    W& operator=(std::optional<U> v) {
        if (v.has_value()) {
            return self() = std::move(*v);
        }
        return self() = std::nullopt;
    }

private:
    W& self() noexcept { return static_cast<W&>(*this); }
    W const& self() const noexcept { return static_cast<W const&>(*this); }
};

} // namespace detail

// The value that disengages an optional member: `led.period = tolvi::none;`
struct none_t {
    explicit constexpr none_t(int) noexcept {}
};
inline constexpr none_t none{0};

// A member that a complete document must carry. Unprovided until a value is assigned or read.
template <class T>
class required : detail::compares_as_optional<required<T>, T>,
                 public detail::holds_value<required<T>, T> {
public:
    using value_type = T;
    using detail::holds_value<required<T>, T>::operator=;

    required() = default;
    required(T v) : value_(std::move(v)), provided_(true) {}
    // std::nullopt leaves it unprovided.
    required(std::nullopt_t) noexcept {}
    template <class U, class = std::enable_if_t<std::is_same<U, T>::value>>
    required(std::optional<U> v) {
        *this = std::move(v);
    }
    required& operator=(T v) {
        value_ = std::move(v);
        provided_ = true;
        return *this;
    }
    required& operator=(std::nullopt_t) {
        clear();
        return *this;
    }

    bool provided() const noexcept { return provided_; }

    // The value, or std::nullopt when unprovided.
    operator std::optional<T>() const {
        return provided_ ? std::optional<T>(value_) : std::nullopt;
    }

    // get(), * and -> (holds_value) throw missing_value when unprovided.

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

    // Equal when both are unprovided, or both hold equal values. Against a T, std::nullopt or a
    // std::optional<T> it compares as the std::optional<T> it converts to (compares_as_optional).
    friend bool operator==(required const& a, required const& b) {
        return a.provided_ == b.provided_ && (!a.provided_ || a.value_ == b.value_);
    }
    friend bool operator!=(required const& a, required const& b) { return !(a == b); }

private:
    friend struct detail::member_form<required>;
    friend class detail::holds_value<required, T>;

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
class optional : detail::compares_as_optional<optional<T>, T>,
                 public detail::holds_value<optional<T>, T> {
public:
    using value_type = T;
    using detail::holds_value<optional<T>, T>::operator=;

    optional() = default;
    optional(T v) : value_(std::move(v)), provided_(true), engaged_(true) {}
    optional(none_t) noexcept : provided_(true) {}
    // std::nullopt disengages it, as tolvi::none does.
    optional(std::nullopt_t) noexcept : provided_(true) {}
    template <class U, class = std::enable_if_t<std::is_same<U, T>::value>>
    optional(std::optional<U> v) {
        *this = std::move(v);
    }
    optional& operator=(T v) {
        value_ = std::move(v);
        provided_ = engaged_ = true;
        return *this;
    }
    optional& operator=(none_t) {
        disengage();
        return *this;
    }
    optional& operator=(std::nullopt_t) {
        disengage();
        return *this;
    }

    bool provided() const noexcept { return provided_; }
    bool engaged() const noexcept { return engaged_; }
    optional_quality quality() const noexcept {
        return detail::get_optional_quality(provided_, engaged_);
    }

    // The value, or std::nullopt when unprovided or disengaged.
    operator std::optional<T>() const { return engaged_ ? std::optional<T>(value_) : std::nullopt; }

    // get(), * and -> (holds_value) throw missing_value when unprovided and disengaged_value when
    // disengaged.

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

    // Equal in the same state (unprovided, disengaged, engaged) with equal values. Against a T,
    // std::nullopt or a std::optional<T> it compares as the std::optional<T> it converts to, so
    // std::nullopt equals an unprovided member and a disengaged one.
    friend bool operator==(optional const& a, optional const& b) {
        return a.provided_ == b.provided_ && a.engaged_ == b.engaged_ &&
               (!a.engaged_ || a.value_ == b.value_);
    }
    friend bool operator!=(optional const& a, optional const& b) { return !(a == b); }

private:
    friend struct detail::member_form<optional>;
    friend class detail::holds_value<optional, T>;

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

// How the record codec sees a member of declared type W, so that every kind of member takes the
// same road through the record's decisions: the value type; whether the member is optional (read
// with get_attr's optional_member policy, null beside its type in the schema); its state as an
// optional_quality, a member that holds a value counting as engaged; the value it holds; and how it
// changes when a document sets it to null (disengage, optional members only) or gives it a value
// it did not hold (fill: `read` reads into a value from scratch, and the member then holds it).
//
// A plain member is its own value: required, and always holding one.
template <class W>
struct member_form {
    using value_type = W;
    static constexpr bool is_optional = false;
    static constexpr optional_quality quality(W const&) noexcept { return engaged; }
    static W& raw(W& m) noexcept { return m; }
    static W const& raw(W const& m) noexcept { return m; }
    template <class F>
    static void fill(W& m, F&& read) {
        m = W();
        read(m);
    }
};

template <class T>
struct member_form<required<T>> {
    using value_type = T;
    static constexpr bool is_optional = false;
    static optional_quality quality(required<T> const& m) noexcept {
        return m.provided_ ? engaged : unprovided;
    }
    static T& raw(required<T>& m) noexcept { return m.value_; }
    static T const& raw(required<T> const& m) noexcept { return m.value_; }
    template <class F>
    static void fill(required<T>& m, F&& read) {
        m.value_ = T(); // members or entries the document leaves out must not survive
        read(m.value_);
        m.provided_ = true;
    }
};

template <class T>
struct member_form<optional<T>> {
    using value_type = T;
    static constexpr bool is_optional = true;
    static optional_quality quality(optional<T> const& m) noexcept { return m.quality(); }
    static T& raw(optional<T>& m) noexcept { return m.value_; }
    static T const& raw(optional<T> const& m) noexcept { return m.value_; }
    static void disengage(optional<T>& m) { m.disengage(); }
    template <class F>
    static void fill(optional<T>& m, F&& read) {
        m.value_ = T();
        read(m.value_);
        m.provided_ = m.engaged_ = true;
    }
};

} // namespace detail

} // namespace v1
} // namespace tolvi
} // namespace korvax

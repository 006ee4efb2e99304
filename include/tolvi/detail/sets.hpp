#pragma once

// std::set<T> and std::unordered_set<T> members: a JSON array of the elements, each read and
// written by T's codec. Reading refuses an element equal to one before it, as a document_error at
// the element ("/tags/2: duplicate element: "a""), and fills the set aside, moving it in whole once
// every element was read; a patch replaces a set whole, its elements read as whole documents, as it
// replaces a list. Writing follows the elements' values (operator<): a std::set's own order, and
// for a std::unordered_set the order the same std::set would have, so that equal sets give the
// same text. An element written as the one before it (two doubles below epsilon, both written 0)
// is refused with unwritable_value in the record calls: it would read back as a duplicate.

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/options.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// operator<, with NaN after every number, so that sorting stays well defined.
template <class T>
bool value_less(T const& a, T const& b) {
    if constexpr (std::is_floating_point<T>::value) {
        if (a != a || b != b) {
            return a == a;
        }
    }
    return a < b;
}

// The codec of a set S, std::set<T> or std::unordered_set<T>.
template <class S>
class set_codec : public impl_base {
public:
    using T = typename S::value_type;

    void apply() { switch_modes<S>(*this); }

    void write() {
        S const& in = *static_cast<S const*>(value);
        auto& out = vector_impl::set_vector(data, static_cast<unsigned int>(in.size()));
        if constexpr (ordered) {
            for (T const& e : in) {
                write_element(out, e);
            }
        } else {
            std::vector<T const*> sorted;
            sorted.reserve(in.size());
            for (T const& e : in) {
                sorted.push_back(&e);
            }
            std::sort(sorted.begin(), sorted.end(),
                      [](T const* a, T const* b) { return value_less(*a, *b); });
            for (T const* e : sorted) {
                write_element(out, *e);
            }
        }
    }

    // An unordered set finds an element by its value: nothing more to compare.
    bool equal(S const& a, S const& b) const {
        return same_elements<ordered>(
            a, b, [](T const& e) -> T const& { return e; },
            [&](T const& x, T const& y) { return !ordered || same(*this, x, y); });
    }

    void read() {
        auto const& in = vector_impl::get_vector(top_level, data);
        S out;
        if constexpr (!ordered) {
            out.reserve(in.size());
        }
        for (std::size_t i = 0; i < in.size(); ++i) {
            data_t const* const d = as_data(&in[i]);
            at<T>(*this, i, d, [&] {
                T e{};
                read_fresh(*this, e, d);
                auto const [kept, inserted] = out.insert(std::move(e));
                if (!inserted) {
                    refuse_duplicate(*kept);
                }
            });
            drop_read(*this, d);
        }
        *static_cast<S*>(value) = std::move(out);
    }

private:
    static constexpr bool ordered = std::is_same<S, std::set<T>>::value;

    // `out` has room for every element: the Variant of the one before stays where it is.
    void write_element(std::vector<Variant>& out, T const& e) {
        std::size_t const i = out.size();
        data_t* const d = as_data(&out.emplace_back());
        at<T>(*this, i, d, [&] {
            run(*this, nullptr, e, d);
            check_output<T>(*this, *d);
            if (i > 0 && in_record_call(*this) && *d == out[i - 1]) {
                throw unwritable_value(std::string(), "written as the element before it, it would "
                                                      "read back as a duplicate");
            }
        });
    }

    // The value shown is the element it equals, as a record writes it: the document's own may have
    // been moved into the set already.
    [[noreturn]] void refuse_duplicate(T const& kept) const {
        if (!in_record_call(*this)) {
            throw bad_deserialization_source(top_level, data, nullptr);
        }
        Variant shown;
        try {
            write_document(kept, shown, options(), static_cast<T const*>(nullptr));
        } catch (located_error const&) {
            throw document_error(std::string(), "duplicate element");
        }
        throw document_error(std::string(), "duplicate element", shown);
    }
};

} // namespace detail

template <class T>
class impl<std::set<T>> : public detail::set_codec<std::set<T>> {};

template <class T>
class impl<std::unordered_set<T>> : public detail::set_codec<std::unordered_set<T>> {};

namespace detail {

// Filled aside and moved in whole; each element is checked as it is written.
template <class T>
struct codec_traits<std::set<T>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected an array"; }
};
template <class T>
struct codec_traits<std::unordered_set<T>> : codec_traits<std::set<T>> {};

template <class T>
struct holds_records<std::set<T>> : holds_records<T> {};
template <class T>
struct holds_records<std::unordered_set<T>> : holds_records<T> {};

// An element of an unordered set is written at the place of its value among the others.
template <class T>
struct written_index<std::unordered_set<T>> {
    static std::size_t of(std::unordered_set<T> const& s, T const& e, std::size_t) {
        return static_cast<std::size_t>(
            std::count_if(s.begin(), s.end(), [&](T const& x) { return value_less(x, e); }));
    }
};

// Elements are whole documents, in a patch too, and no two are equal.
template <class T>
struct schema_of<std::set<T>> {
    static Variant get(schema_writer& w) {
        return schema_object({{"type", Variant("array")},
                              {"items", w.template whole<T>()},
                              {"uniqueItems", Variant(true)}});
    }
};
template <class T>
struct schema_of<std::unordered_set<T>> : schema_of<std::set<T>> {};

template <class T, class = void>
struct ordered_by_value : std::false_type {};
template <class T>
struct ordered_by_value<T,
                        std::void_t<decltype(std::declval<T const&>() < std::declval<T const&>())>>
    : std::bool_constant<!std::is_same<T, char const*>::value> {};

template <class T>
struct unordered_elements {
    static_assert(always_false<T>::value,
                  "tolvi: a set's elements are ordered by their values: use an element type with "
                  "operator< (std::string, not char const*)");
    using culprit = T;
    static constexpr type_problem problem = type_problem::reported;
};

template <class T>
struct type_check<std::set<T>>
    : std::conditional_t<type_check<T>::problem != type_problem::none || ordered_by_value<T>::value,
                         type_check<T>, unordered_elements<T>> {};
template <class T>
struct type_check<std::unordered_set<T>> : type_check<std::set<T>> {};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

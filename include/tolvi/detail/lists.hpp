#pragma once

// std::vector<T> and std::array<T, N> members: a JSON array of the elements, each read and written
// by T's codec. Reading fills a new list aside and moves it in once every element was read, so that
// a refused element leaves the member as it was; an array of another length than N is refused
// (bad_deserialization_source). A patch replaces a list whole, its elements read as whole
// documents. Inside the record calls a failure gets the element's index in its path.

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/errors.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// Whether L has a fixed length, std::tuple_size<L>, which a document must give.
template <class L>
struct fixed_length : std::false_type {};
template <class T, std::size_t N>
struct fixed_length<std::array<T, N>> : std::true_type {};

// The codec of a list L: std::vector<T>, std::array<T, N>, or another sequence that resizes and is
// walked in order.
template <class L>
class list_codec : public impl_base {
public:
    using T = typename L::value_type;

    void apply() { switch_modes<L>(*this); }

    void write() {
        L const& in = *static_cast<L const*>(value);
        auto& out = vector_impl::set_vector(data, static_cast<unsigned int>(in.size()));
        std::size_t i = 0;
        for (T const& e : in) { // std::vector<bool> hands out copies; they live long enough
            data_t* const d = as_data(&out.emplace_back());
            at<T>(*this, i++, d, [&] {
                run(*this, nullptr, e, d);
                check_output<T>(*this, *d);
            });
        }
    }

    void read() {
        auto const& in = vector_impl::get_vector(top_level, data);
        L out{};
        if constexpr (fixed_length<L>::value) {
            if (in.size() != std::tuple_size<L>::value) {
                throw bad_deserialization_source(top_level, data, nullptr);
            }
        } else {
            out.resize(in.size());
        }
        std::size_t i = 0;
        for (auto slot = out.begin(); slot != out.end(); ++slot, ++i) {
            data_t const* const d = as_data(&in[i]);
            at<T>(*this, i, d, [&] {
                if constexpr (std::is_same<T, bool>::value) { // std::vector<bool>'s proxies
                    bool b = false;
                    read_fresh(*this, b, d);
                    *slot = b;
                } else {
                    read_fresh(*this, *slot, d);
                }
            });
            drop_read(*this, d);
        }
        *static_cast<L*>(value) = std::move(out);
    }

    bool equal(L const& a, L const& b) const {
        return a.size() == b.size() &&
               std::equal(a.begin(), a.end(), b.begin(),
                          [&](T const& x, T const& y) { return same<T>(*this, x, y); });
    }
};

} // namespace detail

template <class T>
class impl<std::vector<T>> : public detail::list_codec<std::vector<T>> {};

template <class T, std::size_t N>
class impl<std::array<T, N>> : public detail::list_codec<std::array<T, N>> {};

namespace detail {

// Lists are filled aside and moved in whole, and check each element as it is written.
template <class T>
struct codec_traits<std::vector<T>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected an array"; }
};

template <class T, std::size_t N>
struct codec_traits<std::array<T, N>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() {
        return "expected an array of " + std::to_string(N) + " elements";
    }
};

template <class T>
struct holds_records<std::vector<T>> : holds_records<T> {};
template <class T, std::size_t N>
struct holds_records<std::array<T, N>> : holds_records<T> {};

template <class T>
struct type_check<std::vector<T>> : type_check<T> {};
template <class T, std::size_t N>
struct type_check<std::array<T, N>> : type_check<T> {};

template <class T>
struct schema_of<std::vector<T>> {
    static Variant get(schema_writer& w) {
        return schema_object({{"type", Variant("array")}, {"items", w.template whole<T>()}});
    }
};

template <class T, std::size_t N>
struct schema_of<std::array<T, N>> {
    static Variant get(schema_writer& w) {
        auto const n = static_cast<long long>(N);
        return schema_object({{"type", Variant("array")},
                              {"items", w.template whole<T>()},
                              {"minItems", Variant(n)},
                              {"maxItems", Variant(n)}});
    }
};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

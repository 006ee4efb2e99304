#pragma once

// Log printing of record members: an unprovided member prints as "(unprovided)", a disengaged
// one as "(disengaged)", a value as its compact JSON (a record with patch rules, so a partly
// filled record prints what it holds).

#include <skrib/skrib.hpp>

#include <tolvi/calls.hpp>
#include <tolvi/log.hpp>
#include <tolvi/members.hpp>
#include <tolvi/options.hpp>

namespace korvax {
namespace skrib {
inline namespace v1 {
namespace detail {

template <class T>
struct var_printer<::korvax::tolvi::required<T>> {
    int operator()(char* dst, unsigned size, char const* spec,
                   ::korvax::tolvi::required<T> const& m) {
        if (!m.provided()) {
            return print_unprovided(dst, size);
        }
        return var_printer<Variant>{}(
            dst, size, spec,
            ::korvax::tolvi::to_variant(m.get(), ::korvax::tolvi::options().as_patch()));
    }
};

template <class T>
struct var_printer<::korvax::tolvi::optional<T>> {
    int operator()(char* dst, unsigned size, char const* spec,
                   ::korvax::tolvi::optional<T> const& m) {
        if (!m.provided()) {
            return print_unprovided(dst, size);
        }
        if (!m.engaged()) {
            return print_disengaged(dst, size);
        }
        return var_printer<Variant>{}(
            dst, size, spec,
            ::korvax::tolvi::to_variant(m.get(), ::korvax::tolvi::options().as_patch()));
    }
};

} // namespace detail
} // namespace v1
} // namespace skrib
} // namespace korvax

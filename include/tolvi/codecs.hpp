#pragma once

#include <map>
#include <string>
#include <vector>

#include <tolvi/context.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// Scalars. In every codec `value` (and `other` in compare mode) points at a T and `data` at the
// Variant (in compare mode at the bool result flag, which a difference clears).

template <>
class TOLVI_API impl<bool> : public impl_base {
public:
    void apply();
};

#define TOLVI_DECLARE_INTEGER_IMPL(T)                                                              \
    template <>                                                                                    \
    class TOLVI_API impl<T> : public impl_base {                                                   \
    public:                                                                                        \
        void apply();                                                                              \
        static T scalar_from_string(std::string const& text);                                      \
        static std::string scalar_to_string(T v);                                                  \
    };

TOLVI_DECLARE_INTEGER_IMPL(signed char)
TOLVI_DECLARE_INTEGER_IMPL(unsigned char)
TOLVI_DECLARE_INTEGER_IMPL(short)
TOLVI_DECLARE_INTEGER_IMPL(unsigned short)
TOLVI_DECLARE_INTEGER_IMPL(int)
TOLVI_DECLARE_INTEGER_IMPL(unsigned int)
TOLVI_DECLARE_INTEGER_IMPL(long)
TOLVI_DECLARE_INTEGER_IMPL(unsigned long)
TOLVI_DECLARE_INTEGER_IMPL(long long)
TOLVI_DECLARE_INTEGER_IMPL(unsigned long long)
#undef TOLVI_DECLARE_INTEGER_IMPL

template <>
class TOLVI_API impl<double> : public impl_base {
public:
    void apply();
    // Serialization writes values strictly inside (-epsilon, epsilon) as 0.0. Read at every call.
    static double epsilon;
};

// Strings.

template <>
class TOLVI_API impl<std::string> : public impl_base {
public:
    void apply();
};

// Serialize and compare only: a deserialized text would have no owner.
template <>
class TOLVI_API impl<char const*> : public impl_base {
public:
    void apply();
};

// Containers: the steps every element codec shares.

class TOLVI_API vector_impl {
public:
    // The list held by `data`; throws bad_deserialization_source when it is not a Vector.
    static std::vector<Variant> const& get_vector(data_t const* top_level, data_t const* data);
    // Replaces `data` with an empty Vector with room for `count` elements.
    static std::vector<Variant>& set_vector(data_t* data, unsigned int count);
};

class TOLVI_API map_impl {
public:
    static std::map<std::string, Variant> const& get_map(data_t const* top_level,
                                                         data_t const* data);
    static std::map<std::string, Variant>& set_map(data_t* data, unsigned int count);
};

// Records.

enum get_attr_policy : std::int32_t {
    required_member = 0,
    optional_member = 1,
};

class TOLVI_API composite_impl : public impl_base {
public:
    // Source types from which the next member fetched in deserialization is refused. The header
    // code fills these directly; every get_attr in deserialization clears the count.
    source_type_t const* unacceptable_source_types[5];
    unsigned int unacceptable_count;

    composite_impl() noexcept;

    void apply();
    data_t* get_attr(char const* name, get_attr_policy policy);
    void add_attr_name_to_vector(char const* name);
    bool optional_member_serialization_needed(optional_quality first_quality,
                                              optional_quality quality, char const* name);
    bool required_member_serialization_needed(bool first_flag, bool provided, char const* name);
};

// Binary layout checks (LP64 and ILP32 alike). The class is not standard-layout, but its base
// is plain data, so the offsets are fixed by the platform ABI.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
static_assert(offsetof(composite_impl, unacceptable_source_types) == sizeof(impl_base),
              "composite_impl layout");
static_assert(offsetof(composite_impl, unacceptable_count) == sizeof(impl_base) + 5 * sizeof(void*),
              "composite_impl layout");
static_assert(sizeof(composite_impl) == (sizeof(void*) == 8 ? 96 : 52), "composite_impl size");
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

// Enumerations: travel as the names of their enumerators.

class TOLVI_API enum_impl_base : public impl_base {
public:
    struct entry {
        std::int32_t value;
        char const* name;
    };
    // A view of one enumeration's constant table, in declaration order.
    struct bimap_t {
        entry const* entries;
        std::uint32_t count;
    };

    static int bimap_lookup(char const* name, bimap_t const& bimap, enum_impl_base const* context);
    static char const* bimap_lookup(int value, bimap_t const& bimap);
    int name_to_value(bimap_t const& bimap) const;
    void value_to_name(int value, bimap_t const& bimap);
};

} // namespace v1
} // namespace tolvi
} // namespace korvax

#pragma once

// Enumerations declared with TOLVI_ENUM (enum.hpp): the name of the value in JSON, a JSON string
// that must be one of the names when read. As map keys, the names are the keys. The schema lists
// the names.

#include <algorithm>
#include <cstdint>
#include <string>
#include <type_traits>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/enum.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// The codec of an enumeration declared with TOLVI_ENUM.
template <class E>
class impl<E, std::enable_if_t<detail::is_named_enum<E>::value>> : public enum_impl_base {
public:
    void apply() {
        auto const table = detail::enum_table<E>();
        switch (op_mode) {
        case deserialize_from_json:
            *static_cast<E*>(value) = static_cast<E>(name_to_value(table));
            break;
        case serialize_to_json:
            value_to_name(static_cast<int>(*static_cast<E const*>(value)), table);
            break;
        case compare:
            if (*static_cast<E const*>(other) != *static_cast<E const*>(value)) {
                *reinterpret_cast<bool*>(data) = false;
            }
            break;
        default:
            break;
        }
    }
};

namespace detail {

// "\"off\", \"on\"": the names of an enumeration, in the order of its table.
template <class E>
std::string enum_name_list() {
    auto const table = enum_table<E>();
    std::string names;
    for (std::uint32_t i = 0; i < table.count; ++i) {
        names += (i == 0 ? "\"" : ", \"") + std::string(table.entries[i].name) + '"';
    }
    return names;
}

// The names as a schema's "enum", each once.
template <class E>
Variant enum_names() {
    auto const table = enum_table<E>();
    Variant::vector_type names;
    for (std::uint32_t i = 0; i < table.count; ++i) {
        Variant name(table.entries[i].name);
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(std::move(name));
        }
    }
    return Variant(std::move(names));
}

template <class E>
struct codec_traits<E, std::enable_if_t<is_named_enum<E>::value>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected one of " + enum_name_list<E>(); }
};

template <class K>
struct key_codec<K, std::enable_if_t<is_named_enum<K>::value>> {
    static constexpr bool supported = true;
    // A value missing from the table throws std::runtime_error, as the enumeration's codec does.
    static std::string write(K k) {
        return enum_impl_base::bimap_lookup(static_cast<int>(k), enum_table<K>());
    }
    static bool read(std::string const& text, K& k) {
        auto const table = enum_table<K>();
        for (std::uint32_t i = 0; i < table.count; ++i) {
            if (text == table.entries[i].name) {
                k = static_cast<K>(table.entries[i].value);
                return true;
            }
        }
        return false;
    }
    static std::string refusal() { return "map key is not one of " + enum_name_list<K>(); }
    static Variant schema() { return schema_object({{"enum", enum_names<K>()}}); }
};

template <class E>
struct schema_of<E, std::enable_if_t<is_named_enum<E>::value>> {
    static Variant get(schema_writer&) { return key_codec<E>::schema(); }
};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

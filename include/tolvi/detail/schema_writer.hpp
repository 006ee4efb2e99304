#pragma once

// The machinery of json_schema (schema.hpp): the writer that walks a record's members, and
// schema_of<T>, the schema of one member type, specialized beside each kind of member.

#include <algorithm>
#include <cstddef>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <tolvi/Variant.hpp>
#include <tolvi/context.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/members.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record_description.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// An address per type, to tell records apart while their schemas are written.
template <class T>
struct type_id {
    static constexpr char id = 0;
};

inline Variant schema_object(Variant::map_type m) {
    return Variant(std::move(m));
}

inline Variant schema_type(char const* type) {
    return schema_object({{"type", Variant(type)}});
}

class schema_writer;

template <class T, class = void>
struct schema_of;

class schema_writer {
public:
    schema_writer(options const& o, void const* root) noexcept
        : patch_(o.patch), root_patch_(o.patch), strict_(o.strict_keys),
          source_(o.source_type != nullptr ? o.source_type : &_ac::source_type::unspecified),
          root_(root) {}

    Variant::map_type defs;

    template <class T>
    Variant of() {
        return schema_of<T>::get(*this);
    }

    template <class R>
    Variant record() {
        Variant::map_type properties;
        Variant::vector_type required;
        Variant::vector_type rules; // for renamed members: one key of each, and only one
        if constexpr (members_supported<decltype(record_fields<R>())>::value) {
            std::apply([&](auto const&... f) { (member<R>(f, properties, required, rules), ...); },
                       record_fields<R>());
        }
        Variant::map_type out{{"type", Variant("object")},
                              {"properties", Variant(std::move(properties))}};
        if (!required.empty()) {
            out.emplace("required", Variant(std::move(required)));
        }
        if (!rules.empty()) {
            out.emplace("allOf", Variant(std::move(rules)));
        }
        if (strict_) {
            out.emplace("additionalProperties", Variant(false));
        }
        return Variant(std::move(out));
    }

    // The reference to R's schema, written under "$defs" the first time. In a patch, a record read
    // whole (in a list) has a schema of its own beside its patch's, named with "-whole".
    template <class R>
    Variant ref() {
        void const* const id = &type_id<R>::id;
        if (id == root_ && patch_ == root_patch_) {
            return schema_object({{"$ref", Variant("#")}});
        }
        auto known = std::find_if(named_.begin(), named_.end(), [&](auto const& n) {
            return std::get<0>(n) == id && std::get<1>(n) == patch_;
        });
        std::string name;
        if (known != named_.end()) {
            name = std::get<2>(*known);
        } else {
            name = def_name(record_name<R>(), !patch_ && root_patch_ ? "-whole" : "");
            named_.emplace_back(id, patch_, name);
            defs[name] = Variant(); // holds the name while R's members are written
            Variant def = record<R>();
            defs[name] = std::move(def);
        }
        return schema_object({{"$ref", Variant("#/$defs/" + name)}});
    }

    // A list is replaced whole by a patch, its elements read as whole documents.
    template <class T>
    Variant whole() {
        bool const patch = patch_;
        patch_ = false;
        Variant s = of<T>();
        patch_ = patch;
        return s;
    }

    // A map's value; in a patch, null removes the entry.
    template <class T>
    Variant entry() {
        return patch_ ? or_null(of<T>()) : of<T>();
    }

private:
    template <class R, auto M>
    void member(field<M> const& f, Variant::map_type& properties, Variant::vector_type& required,
                Variant::vector_type& rules) {
        using form = member_form<typename member_pointer<decltype(M)>::declared>;
        using T = typename form::value_type;
        constexpr bool is_required = !form::is_optional;
        refusals const refused = refused_sources<R, M>();
        bool const refuses = std::find(refused.types, refused.types + refused.count, source_) !=
                             refused.types + refused.count;
        Variant s = refuses ? Variant(false) : is_required ? not_null(of<T>()) : or_null(of<T>());
        if (!f.renamed()) {
            properties.emplace(f.name, std::move(s));
            if (is_required && !patch_) {
                required.emplace_back(f.name);
            }
            return;
        }
        // Older keys read as the key does, marked deprecated. A required member stands under
        // exactly one of its keys; any member under at most one.
        Variant::vector_type one_key, two_keys;
        for (std::size_t i = 0; i < 1 + most_old_keys && f.keys[i] != nullptr; ++i) {
            properties.emplace(f.keys[i], i == 0 ? s : deprecated(s));
            one_key.push_back(schema_object({{"required", Variant::vector_type{f.keys[i]}}}));
            for (std::size_t j = 0; j < i; ++j) {
                two_keys.push_back(
                    schema_object({{"required", Variant::vector_type{f.keys[j], f.keys[i]}}}));
            }
        }
        rules.push_back(
            is_required && !patch_
                ? schema_object({{"oneOf", Variant(std::move(one_key))}})
                : schema_object(
                      {{"not", schema_object({{"anyOf", Variant(std::move(two_keys))}})}}));
    }

    static Variant deprecated(Variant s) {
        if (s.type == Variant::Boolean) {
            return s.value.boolValue ? schema_object({{"deprecated", Variant(true)}}) : s;
        }
        s.value.mapValue->emplace("deprecated", Variant(true));
        return s;
    }

    // A required member refuses null, even where its type takes any value.
    static Variant not_null(Variant s) {
        if (s.type == Variant::Boolean && s.value.boolValue) {
            return schema_object({{"not", schema_type("null")}});
        }
        return s;
    }

    static Variant or_null(Variant s) {
        if (s.type == Variant::Boolean) {
            return s.value.boolValue ? s : schema_type("null");
        }
        Variant::map_type& m = *s.value.mapValue;
        auto const type = m.find("type");
        auto const names = m.find("enum");
        if (type != m.end() && type->second.type == Variant::String) {
            type->second = Variant(Variant::vector_type{type->second, Variant("null")});
        } else if (names != m.end()) {
            names->second.value.vectorValue->emplace_back();
        } else {
            return schema_object(
                {{"anyOf", Variant(Variant::vector_type{s, schema_type("null")})}});
        }
        return s;
    }

    // The C++ name as a "$defs" key that needs no escaping in a reference: "ns::type" is
    // "ns.type"; other characters become "_", and a name taken already gets a number.
    std::string def_name(char const* cpp_name, char const* suffix) const {
        std::string base;
        for (char const* p = cpp_name; *p != '\0'; ++p) {
            char const c = *p;
            if (c == ':' && p[1] == ':') {
                ++p;
                if (!base.empty()) {
                    base += '.';
                }
            } else if (c != ' ') {
                bool const plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                                   (c >= '0' && c <= '9') || c == '_';
                base += plain ? c : '_';
            }
        }
        base += suffix;
        std::string name = base;
        for (int n = 2; defs.count(name) != 0; ++n) {
            name = base + '_' + std::to_string(n);
        }
        return name;
    }

    bool patch_;
    bool root_patch_;
    bool strict_;
    source_type_t const* source_;
    void const* root_;
    std::vector<std::tuple<void const*, bool, std::string>> named_;
};

// A type with a codec of its own: any value. Each kind of member specializes it beside its codec.
template <class T, class>
struct schema_of {
    static Variant get(schema_writer&) { return Variant(true); }
};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

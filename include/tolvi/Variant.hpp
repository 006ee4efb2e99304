#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include <tolvi/export.hpp>

// Jansson's node type, kept out of the public headers.
struct json_t;

// A JSON-like value: null, signed 64-bit integer, double, string, boolean, string-keyed map or
// list. Strings, maps and lists are owned through one pointer each and copied deeply.
class TOLVI_API Variant {
public:
    enum Type : std::int32_t {
        Null = 0,
        Integer = 1,
        Double = 2,
        String = 3,
        Boolean = 4,
        Map = 5,
        Vector = 6,
    };

    using map_type = std::map<std::string, Variant>;
    using vector_type = std::vector<Variant>;

    // Knows nothing of its active member: the owning Variant passes its type code.
    union alignas(8) Value {
        std::int64_t intValue;
        double doubleValue;
        std::string* stringValue;
        bool boolValue;
        map_type* mapValue;
        vector_type* vectorValue;

        void destruct(Type t) noexcept;
        void copy_construct(Type t, Value const& src);
        void copy_assign(Type t, Value const& src);
    };

    Type type;
    Value value;

    // The payload of a Null means nothing, but moving one copies it: give it a defined value.
    Variant() noexcept : type(Null) { value.intValue = 0; }
    Variant(std::nullptr_t) noexcept : Variant() {}
    Variant(bool b) noexcept : type(Boolean) {
        value.intValue = 0;
        value.boolValue = b;
    }
    Variant(int i) noexcept : type(Integer) { value.intValue = i; }
    Variant(long long i) noexcept : type(Integer) { value.intValue = i; }
    // Every other integer type gives an Integer; unsigned 64-bit values keep their bits.
    template <class I, std::enable_if_t<
                           std::is_integral<I>::value && !std::is_same<I, bool>::value &&
                               !std::is_same<I, int>::value && !std::is_same<I, long long>::value,
                           int> = 0>
    Variant(I i) noexcept : type(Integer) {
        value.intValue = static_cast<std::int64_t>(i);
    }
    Variant(double d) noexcept : type(Double) { value.doubleValue = d; }
    Variant(float f) noexcept : Variant(static_cast<double>(f)) {}

    Variant(std::string const& s);
    Variant(std::string&& s);
    Variant(char const* s);
    Variant(map_type const& m);
    Variant(map_type&& m);
    Variant(vector_type const& v);
    Variant(vector_type&& v);
    // A pointer other than text would otherwise silently become a Boolean.
    Variant(void const*) = delete;

    Variant(Variant const& other);
    TOLVI_API_INLINE Variant(Variant&& other) noexcept : type(other.type), value(other.value) {
        other.type = Null;
    }
    // Inline test: scalars and moved-from values own nothing and skip the call.
    ~Variant() {
        if (type == String || type >= Map) {
            value.destruct(type);
        }
    }

    Variant& operator=(Variant const& other);
    // The old payload goes last, so `other` may lie inside it; moving into itself leaves Null.
    TOLVI_API_INLINE Variant& operator=(Variant&& other) noexcept {
        Value old = value;
        Type const old_type = type;
        value = other.value;
        type = other.type;
        other.type = Null;
        old.destruct(old_type);
        return *this;
    }

    // Access and update; none of these throws for a wrong type or a missing key.
    double asDouble() const noexcept;
    Variant const& get(std::string const& key) const;
    Variant& operator[](int index);
    Variant const& operator[](std::string const& key) const;
    Variant& operator[](std::string const& key);
    bool set(std::string const& key, Variant const& v);

    // Folds `other` into this value; all or nothing.
    bool mergeWith(Variant const& other);

    // Malformed or empty text is logged and yields Null.
    static Variant fromJson(std::string const& text);
    std::string toJson() const;
    std::string prettyPrintJson() const;

    bool isNull() const noexcept { return type == Null; }
};

TOLVI_API bool operator==(Variant const& a, Variant const& b) noexcept;
inline bool operator!=(Variant const& a, Variant const& b) noexcept {
    return !(a == b);
}

// "null", "Number", "String", "Boolean", "Object" or "Array"; static text.
TOLVI_API char const* jsonTypeName(Variant::Type t) noexcept;

// A new Jansson reference equal to the value (release with json_decref), or null when Jansson
// refuses the top-level value.
TOLVI_API json_t* toJansson(Variant const& v);

// The record layout is part of the binary interface: tag, padding, one 8-byte payload.
static_assert(sizeof(Variant::Type) == 4, "Variant::Type is 32 bits");
static_assert(sizeof(Variant::Value) == 8 && alignof(Variant::Value) == 8, "8-byte payload");
static_assert(sizeof(Variant) == 16, "Variant is a tag plus one 8-byte payload");
static_assert(offsetof(Variant, type) == 0 && offsetof(Variant, value) == 8, "Variant layout");

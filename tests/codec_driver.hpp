#pragma once

// Drives one codec the way the record header code does: root settings, data pointers, apply().

#include <tolvi/codecs.hpp>

#include "test_support.hpp"

namespace tv = korvax::tolvi;

// bad_deserialization_source with its fixed start followed by `rest`.
#define EXPECT_BAD_SOURCE(statement, rest)                                                         \
    EXPECT_THROW_MSG(statement, tv::bad_deserialization_source,                                    \
                     std::string("bad source provided for deserialization") + (rest))

namespace tolvi_test {

inline Variant json(char const* text) {
    return Variant::fromJson(text);
}

// A root context of `Codec` in mode `m` over `data`, with `top` as the document.
template <class Codec>
Codec context(tv::mode m, void* data, Variant const* top = nullptr, void const* value = nullptr) {
    Codec c;
    c.set_operation(m, tv::as_data(top));
    c.set_data(nullptr, const_cast<void*>(value), static_cast<tv::data_t*>(data));
    return c;
}

// Serializes or deserializes `*value` against `*data`.
template <class Codec, class T>
void run(tv::mode m, T* value, Variant* data, Variant const* top = nullptr) {
    context<Codec>(m, data, top, value).apply();
}

// Compare mode: returns the flag after the codec ran on a flag that started as `flag`.
template <class Codec, class T>
bool compare(T const& a, T const& b, bool flag = true) {
    Codec c = context<Codec>(tv::compare, &flag, nullptr, &b);
    c.other = &a;
    c.apply();
    return flag;
}

// Deserializing each of `refused` into a T holding `kept` throws and leaves it as it was.
template <class T>
void expect_refused(T const& kept, std::vector<Variant> const& refused) {
    for (Variant const& src : refused) {
        Variant doc(Variant::map_type{{"n", src}});
        T v = kept;
        EXPECT_BAD_SOURCE(
            run<tv::impl<T>>(tv::deserialize_from_json, &v, &doc[std::string("n")], &doc),
            "; element `" + src.toJson() + "` top-level: " + doc.toJson());
        EXPECT_EQ(v, kept);
    }
}

} // namespace tolvi_test

#pragma once

// Drives one codec the way the record header code does: root settings, data pointers, apply().

#include <tolvi/codecs.hpp>
#include <tolvi/context.hpp>

namespace tolvi_test {

namespace tv = korvax::tolvi;

// Serializes or deserializes `*value` against `*data`; `top` is the document for error reports.
template <class Codec, class T>
void run(tv::mode m, T* value, Variant* data, Variant const* top = nullptr) {
    Codec c;
    c.set_operation(m, tv::as_data(top));
    c.set_data(nullptr, value, tv::as_data(data));
    c.apply();
}

// Compare mode: returns the flag after the codec ran on a flag that started as `flag`.
template <class Codec, class T>
bool compare(T const& a, T const& b, bool flag = true) {
    Codec c;
    c.set_operation(tv::compare, nullptr);
    c.set_data(&a, const_cast<T*>(&b), reinterpret_cast<tv::data_t*>(&flag));
    c.apply();
    return flag;
}

} // namespace tolvi_test

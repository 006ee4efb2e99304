#pragma once

// double and float members: a JSON number. double's codec is the framework's own (codecs.hpp),
// which writes a value strictly between -epsilon and epsilon as 0. float is written as a Double
// through it; read from an Integer or a Double like double, and a finite value outside float's
// range is refused, as the integer codecs refuse values outside theirs. The record write calls
// refuse NaN and the infinities (unwritable_value).

#include <cfloat>
#include <charconv>
#include <cmath>

#include <string>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/errors.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

template <>
class impl<float> : public impl_base {
public:
    void apply() {
        switch (op_mode) {
        case serialize_to_json: {
            // Through double's codec (its epsilon rule included), from the shortest decimal
            // that reads back as the same float: 0.1f is written 0.1, not 0.10000000149011612.
            double d = to_double(*static_cast<float const*>(value));
            impl<double> codec;
            codec.set_operation(*this);
            codec.set_data(nullptr, &d, data);
            codec.apply();
            break;
        }
        case deserialize_from_json: {
            if (data->type != Variant::Integer && data->type != Variant::Double) {
                throw bad_deserialization_source(top_level, data, nullptr);
            }
            double const d = data->asDouble();
            if (std::isfinite(d) && (d > FLT_MAX || d < -FLT_MAX)) {
                throw bad_deserialization_source(top_level, data, nullptr);
            }
            *static_cast<float*>(value) = static_cast<float>(d);
            break;
        }
        case compare:
            if (*static_cast<float const*>(other) != *static_cast<float const*>(value)) {
                *reinterpret_cast<bool*>(data) = false;
            }
            break;
        default:
            break;
        }
    }

private:
    static double to_double(float f) noexcept {
        char text[32];
        auto const printed = std::to_chars(text, text + sizeof text, f);
        double d = 0;
        if (!std::isfinite(f) || printed.ec != std::errc() ||
            std::from_chars(text, printed.ptr, d).ec != std::errc() || std::fabs(d) > FLT_MAX) {
            return f; // the shortest text of FLT_MAX lies above it: keep that one exact
        }
        return d;
    }
};

namespace detail {

template <>
struct codec_traits<double> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::number;
    static std::string expected() { return "expected a number"; }
};

template <>
struct codec_traits<float> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::number;
    static std::string expected() { return "expected a number from -3.4028235e38 to 3.4028235e38"; }
};

template <>
struct schema_of<double> {
    static Variant get(schema_writer&) { return schema_type("number"); }
};

template <>
struct schema_of<float> {
    static Variant get(schema_writer&) {
        return schema_object({{"type", Variant("number")},
                              {"minimum", Variant(-static_cast<double>(FLT_MAX))},
                              {"maximum", Variant(static_cast<double>(FLT_MAX))}});
    }
};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

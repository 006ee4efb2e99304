#include <tolvi/context.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace _ac {
namespace source_type {
source_type_t const unspecified = 0;
} // namespace source_type
} // namespace _ac

void impl_base::set_data(void const* other_value, void* this_value, data_t* d) noexcept {
    other = other_value;
    value = this_value;
    data = d;
}

void impl_base::set_operation(impl_base const& parent) noexcept {
    top_level = parent.top_level;
    source_type = parent.source_type;
    op_mode = parent.op_mode;
    patch = parent.patch;
    extra_flag = parent.extra_flag;
}

void impl_base::set_operation(mode m, data_t const* top) noexcept {
    top_level = top;
    source_type = &_ac::source_type::unspecified;
    op_mode = m;
    patch = false;
    extra_flag = false;
}

void impl_base::set_source_type(source_type_t const* st) noexcept {
    source_type = st != nullptr ? st : &_ac::source_type::unspecified;
}

namespace detail {

optional_quality get_optional_quality(bool provided, bool engaged) noexcept {
    if (!provided) {
        return unprovided;
    }
    return engaged ? optional_quality::engaged : disengaged;
}

} // namespace detail

} // namespace v1
} // namespace tolvi
} // namespace korvax

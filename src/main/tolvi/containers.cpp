#include <tolvi/codecs.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

std::vector<Variant> const& vector_impl::get_vector(data_t const* top_level, data_t const* data) {
    if (data->type != Variant::Vector) {
        throw bad_deserialization_source(top_level, data, nullptr);
    }
    return *data->value.vectorValue;
}

std::vector<Variant>& vector_impl::set_vector(data_t* data, unsigned int count) {
    *data = Variant(Variant::vector_type());
    Variant::vector_type& list = *data->value.vectorValue;
    list.reserve(count);
    return list;
}

std::map<std::string, Variant> const& map_impl::get_map(data_t const* top_level,
                                                        data_t const* data) {
    if (data->type != Variant::Map) {
        throw bad_deserialization_source(top_level, data, nullptr);
    }
    return *data->value.mapValue;
}

// A std::map has nothing to reserve, so `count` goes unused.
std::map<std::string, Variant>& map_impl::set_map(data_t* data, unsigned int /*count*/) {
    *data = Variant(Variant::map_type());
    return *data->value.mapValue;
}

} // namespace v1
} // namespace tolvi
} // namespace korvax

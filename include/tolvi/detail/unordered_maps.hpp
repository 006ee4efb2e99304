#pragma once

// std::unordered_map<K, T> members, for the keys that std::map takes: text, an integer type or an
// enumeration declared with TOLVI_ENUM. They travel as std::map's do, through the same codec
// (detail::map_codec in maps.hpp): a JSON object, read whole, patched entry by entry in
// the record calls, written by make_patch as the entries that changed. Written in key order: the
// object's keys in byte order, as every object prints, so that equal maps give the same text
// whatever order their buckets keep.

#include <map>
#include <string>
#include <type_traits>
#include <unordered_map>

#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/maps.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/detail/type_check.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

template <class K, class T>
class impl<std::unordered_map<K, T>,
           std::enable_if_t<std::is_same<K, std::string>::value || detail::is_map_key<K>::value>>
    : public detail::map_codec<std::unordered_map<K, T>> {};

namespace detail {

template <class K, class T>
struct codec_traits<std::unordered_map<K, T>> : codec_traits<std::map<K, T>> {};

template <class K, class T>
struct is_map<std::unordered_map<K, T>> : std::true_type {};

template <class K, class T>
struct holds_records<std::unordered_map<K, T>> : holds_records<std::map<K, T>> {};

template <class K, class T>
struct type_check<std::unordered_map<K, T>> : type_check<std::map<K, T>> {};

template <class K, class T>
struct schema_of<std::unordered_map<K, T>> : schema_of<std::map<K, T>> {};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

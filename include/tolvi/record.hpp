#pragma once

// Records: describe an application struct once and it travels to and from JSON, compares and
// patches.
//
//     struct wifi {
//         std::string ssid;
//         std::optional<std::string> static_ip;
//     };
//     TOLVI_RECORD(wifi, ssid, (static_ip, "static-ip"));
//
// This header brings the whole record API; each part has a header of its own:
//   record_description.hpp  TOLVI_RECORD, JSON keys, TOLVI_SOURCE_TYPE and TOLVI_REFUSE
//   record_keys.hpp         renamed keys and strict reading
//   member_types.hpp        the member types, and the errors for the others
//   record_codec.hpp        the codec of records: how members are read, written and compared
//   container_codecs.hpp    std::vector, std::array and std::map, with their keys
//   detail/                 one header per further kind of member: std::optional members, sets,
//                           unordered maps, durations
//   float_codec.hpp         float
//   calls.hpp               to_variant, from_json, equal, make_patch, ...
//   schema.hpp              json_schema
//   member_printers.hpp     record members in log messages
//   options.hpp             options: source type and patch

#include <tolvi/calls.hpp>
#include <tolvi/child_codec.hpp>
#include <tolvi/container_codecs.hpp>
#include <tolvi/detail/durations.hpp>
#include <tolvi/detail/sets.hpp>
#include <tolvi/detail/std_optional.hpp>
#include <tolvi/detail/unordered_maps.hpp>
#include <tolvi/float_codec.hpp>
#include <tolvi/member_printers.hpp>
#include <tolvi/member_types.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record_codec.hpp>
#include <tolvi/record_description.hpp>
#include <tolvi/record_keys.hpp>
#include <tolvi/schema.hpp>

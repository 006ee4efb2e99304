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
// This header brings the whole record API; each part a user reads has a header of its own:
//   record_description.hpp  TOLVI_RECORD, JSON keys, TOLVI_SOURCE_TYPE and TOLVI_REFUSE
//   members.hpp             the member wrappers required<T> and optional<T>
//   enum.hpp                TOLVI_ENUM
//   calls.hpp               to_variant, from_json, equal, make_patch, ...
//   options.hpp             options: source type, patch and strict reading
//   schema.hpp              json_schema
// The machinery the templates need is in detail/: the codec of records, the member types and the
// errors for the others, and one header per kind of member with all the library knows of it.

#include <tolvi/calls.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/container_codecs.hpp>
#include <tolvi/detail/durations.hpp>
#include <tolvi/detail/floats.hpp>
#include <tolvi/detail/member_printers.hpp>
#include <tolvi/detail/record_codec.hpp>
#include <tolvi/detail/record_keys.hpp>
#include <tolvi/detail/sets.hpp>
#include <tolvi/detail/std_optional.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/detail/unordered_maps.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record_description.hpp>
#include <tolvi/schema.hpp>

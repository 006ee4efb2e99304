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
// The machinery the templates need is in detail/: how a child value is run (child_codec.hpp), the
// member type checks (type_check.hpp), the schema writer, and one header per kind of member with
// all the library knows of it (kinds.hpp lists them).

#include <tolvi/calls.hpp>
#include <tolvi/detail/member_printers.hpp>
#include <tolvi/enum.hpp>
#include <tolvi/members.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record_description.hpp>
#include <tolvi/schema.hpp>

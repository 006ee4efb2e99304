#pragma once

// The whole public interface of libtolvi.

#include <tolvi/Variant.hpp>
#include <tolvi/calls.hpp>
#include <tolvi/child_codec.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/container_codecs.hpp>
#include <tolvi/context.hpp>
#include <tolvi/detail/durations.hpp>
#include <tolvi/detail/sets.hpp>
#include <tolvi/detail/std_optional.hpp>
#include <tolvi/detail/unordered_maps.hpp>
#include <tolvi/enum.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/export.hpp>
#include <tolvi/files.hpp>
#include <tolvi/float_codec.hpp>
#include <tolvi/json_text.hpp>
#include <tolvi/log.hpp>
#include <tolvi/member_printers.hpp>
#include <tolvi/member_types.hpp>
#include <tolvi/members.hpp>
#include <tolvi/merge_patch.hpp>
#include <tolvi/opaque_json_block.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record.hpp>
#include <tolvi/record_codec.hpp>
#include <tolvi/record_description.hpp>
#include <tolvi/record_keys.hpp>
#include <tolvi/schema.hpp>

#pragma once

// The whole public interface of libtolvi; record.hpp brings the machinery its templates need
// (detail/).

#include <tolvi/Variant.hpp>
#include <tolvi/calls.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/context.hpp>
#include <tolvi/enum.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/export.hpp>
#include <tolvi/files.hpp>
#include <tolvi/json_text.hpp>
#include <tolvi/log.hpp>
#include <tolvi/members.hpp>
#include <tolvi/merge_patch.hpp>
#include <tolvi/opaque_json_block.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record.hpp>
#include <tolvi/record_description.hpp>
#include <tolvi/schema.hpp>

#pragma once

// The whole public interface of libtolvi.

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/context.hpp>
#include <tolvi/enum.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/export.hpp>
#include <tolvi/files.hpp>
#include <tolvi/log.hpp>
#include <tolvi/members.hpp>
#include <tolvi/opaque_json_block.hpp>
#include <tolvi/record.hpp>

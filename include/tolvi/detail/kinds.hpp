#pragma once

// Every kind of member, one header each. The headers that instantiate the generic machinery for a
// user (calls.hpp, schema.hpp) include this one, so that every customization point of every kind
// is declared wherever one is used.

#include <tolvi/detail/durations.hpp>
#include <tolvi/detail/enums.hpp>
#include <tolvi/detail/floats.hpp>
#include <tolvi/detail/lists.hpp>
#include <tolvi/detail/maps.hpp>
#include <tolvi/detail/opaque_blocks.hpp>
#include <tolvi/detail/records.hpp>
#include <tolvi/detail/scalars.hpp>
#include <tolvi/detail/sets.hpp>
#include <tolvi/detail/std_optional.hpp>
#include <tolvi/detail/strings.hpp>
#include <tolvi/detail/unordered_maps.hpp>

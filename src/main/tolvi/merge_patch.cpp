#include <tolvi/errors.hpp>
#include <tolvi/merge_patch.hpp>

#include <string>
#include <utility>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

// `patch` applied to `target`, by RFC 7396's own recursion; `target` is used up.
Variant merged_patch(Variant target, Variant const& patch) {
    if (patch.type != Variant::Map) {
        return patch;
    }
    if (target.type != Variant::Map) {
        target = Variant(Variant::map_type());
    }
    Variant::map_type& members = *target.value.mapValue;
    for (auto const& [key, value] : *patch.value.mapValue) {
        auto const it = members.find(key);
        if (value.isNull()) {
            if (it != members.end()) {
                members.erase(it);
            }
        } else if (it != members.end()) {
            it->second = merged_patch(std::move(it->second), value);
        } else {
            members.emplace(key, merged_patch(Variant(), value));
        }
    }
    return target;
}

char const* kind_of(Variant const& v) {
    static char const* const names[] = {"null",      "an integer", "a double", "a string",
                                        "a boolean", "an object",  "an array"};
    return names[v.type];
}

// Where mergeWith refuses to merge `patch` into `target`, by its rules: throws document_error
// there, the path relative to `target`.
void refuse_conflict(Variant const& target, Variant const& patch) {
    bool const refused = patch.type == Variant::Map
                             ? target.type != Variant::Map && !target.isNull()
                             : target.type != patch.type;
    if (refused) {
        throw document_error(std::string(),
                             std::string("a patch cannot change the type of ") + kind_of(target) +
                                 " in an opaque block",
                             patch);
    }
    if (patch.type != Variant::Map || target.isNull()) {
        return;
    }
    for (auto const& [key, value] : *patch.value.mapValue) {
        auto const old = target.value.mapValue->find(key);
        if (!value.isNull() && old != target.value.mapValue->end()) {
            try {
                refuse_conflict(old->second, value);
            } catch (document_error& e) {
                e.prepend_key(key);
                throw;
            }
        }
    }
}

[[noreturn]] void unpatchable(char const* why) {
    throw unwritable_value(std::string(), std::string("a patch of an opaque block cannot ") + why);
}

// A value that mergeWith adds where the block has no such key: it drops the nulls of objects.
void check_added(Variant const& added) {
    if (added.isNull()) {
        unpatchable("set a key to null");
    }
    if (added.type == Variant::Map) {
        for (auto const& [key, value] : *added.value.mapValue) {
            try {
                check_added(value);
            } catch (unwritable_value& e) {
                e.prepend_key(key);
                throw;
            }
        }
    }
}

} // namespace

Variant merge_patch(Variant const& target, Variant const& patch) {
    return merged_patch(target, patch);
}

namespace detail {

void merge_block(Variant& block, Variant const& patch) {
    if (!block.mergeWith(patch)) {
        refuse_conflict(block, patch);
    }
}

Variant block_patch(Variant const& changed, Variant const& baseline) {
    if (changed.type != baseline.type && !(baseline.isNull() && changed.type == Variant::Map)) {
        unpatchable("change the type of a value");
    }
    if (changed.type != Variant::Map || baseline.isNull()) {
        return changed; // merged into null, or replacing a value of its own type
    }
    Variant::map_type patch;
    Variant::map_type const& now = *changed.value.mapValue;
    for (auto const& entry : *baseline.value.mapValue) {
        if (now.find(entry.first) == now.end()) {
            patch.emplace(entry.first, Variant());
        }
    }
    for (auto const& [key, value] : now) {
        auto const old = baseline.value.mapValue->find(key);
        try {
            if (old == baseline.value.mapValue->end()) {
                check_added(value);
                patch.emplace(key, value);
            } else if (!(old->second == value)) {
                if (value.isNull()) {
                    unpatchable("set a key to null");
                }
                patch.emplace(key, block_patch(value, old->second));
            }
        } catch (unwritable_value& e) {
            e.prepend_key(key);
            throw;
        }
    }
    return Variant(std::move(patch));
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

#include "readers/PowerCommon.h"

namespace qm {

namespace {
const PropertyMap* member(const PropertyMap& map, std::string_view key) {
    if (!map.is_object()) return nullptr;
    auto it = map.find(key);
    return it == map.end() ? nullptr : &*it;
}
}  // namespace

std::optional<double> propertyNumber(const PropertyMap& map, std::string_view key) {
    const auto* value = member(map, key);
    if (!value || !value->is_number()) return std::nullopt;
    return value->get<double>();
}

std::optional<bool> propertyBool(const PropertyMap& map, std::string_view key) {
    const auto* value = member(map, key);
    if (!value || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

std::optional<std::string> propertyString(const PropertyMap& map, std::string_view key) {
    const auto* value = member(map, key);
    if (!value || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

const PropertyMap* propertyDictionary(const PropertyMap& map, std::string_view key) {
    const auto* value = member(map, key);
    return value && value->is_object() ? value : nullptr;
}

std::optional<double> systemPowerOrDischarge(std::optional<double> measured, const BatteryStats& battery) {
    if (measured) return measured;
    if (battery.present && !battery.onAC && battery.batteryPower && *battery.batteryPower < 0)
        return -*battery.batteryPower;
    return std::nullopt;
}

}  // namespace qm

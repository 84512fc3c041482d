#include "wire_value.h"

#include "protocol.h"

namespace remote {

namespace {

struct ToVariant {
    // A variant on the bus cannot be empty.
    sdbus::Variant operator()(std::monostate) const { return sdbus::Variant(false); }
    sdbus::Variant operator()(int value) const { return sdbus::Variant(std::int32_t{value}); }
    sdbus::Variant operator()(long long value) const {
        return sdbus::Variant(static_cast<std::int64_t>(value));
    }
    sdbus::Variant operator()(const std::vector<int>& value) const { return sdbus::Variant(value); }
    template <typename Texts>
    sdbus::Variant operator()(const Texts& value) const {
        return sdbus::Variant(toWire(value));
    }
};

template <typename T>
T readAs(sdbus::Message& message, const std::string& type) {
    T value{};
    message.enterVariant(type);
    message >> value;
    message.exitVariant();
    return value;
}

}  // namespace

sdbus::Variant toVariant(const simulated::Value& value) { return std::visit(ToVariant(), value); }

simulated::Value fromVariant(const sdbus::Variant& variant) {
    const std::string type = variant.isEmpty() ? "" : variant.peekValueType();
    if (type == "i") return variant.get<std::int32_t>();
    if (type == "x") return static_cast<long long>(variant.get<std::int64_t>());
    if (type == "ay") return fromWire(variant.get<Bytes>());
    if (type == "ai") return variant.get<std::vector<std::int32_t>>();
    if (type == "aay") return fromWire(variant.get<std::vector<Bytes>>());
    return {};
}

simulated::Value readValue(sdbus::Message& message) {
    std::string kind;
    std::string type;
    message.peekType(kind, type);
    if (type == "i") return readAs<std::int32_t>(message, type);
    if (type == "x") return static_cast<long long>(readAs<std::int64_t>(message, type));
    if (type == "ay") return fromWire(readAs<Bytes>(message, type));
    if (type == "ai") return readAs<std::vector<std::int32_t>>(message, type);
    if (type == "aay") return fromWire(readAs<std::vector<Bytes>>(message, type));
    return {};
}

}  // namespace remote

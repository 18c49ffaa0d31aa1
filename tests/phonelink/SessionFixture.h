#pragma once

#include "phonelink/ComThreadManager.h"
#include "phonelink/TessraServer.h"
#include "tessra/Service.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/// A service of the given ports with phones that keep nothing, and that leave and come back quickly when they are
/// reset.
inline tessra::ServiceConfig phonesOn(const std::vector<std::string>& portNames) {
    tessra::ServiceConfig config;
    for (const std::string& name : portNames) {
        tessra::PortConfig port;
        port.name = name;
        port.number = static_cast<std::uint16_t>(std::stoi(name.substr(3)));
        port.phone.awayMs = 60;
        config.ports.push_back(port);
    }
    return config;
}

/// The message of the session's exception that `call` throws; "" where it throws none.
inline std::string failureOf(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (const TessraServer::Exception& error) {
        return error.what();
    }
}

inline tessra::FaultRule serverCodeAt(tessra::Call call, std::uint32_t code) {
    tessra::FaultRule rule;
    rule.call = call;
    rule.kind = tessra::FaultKind::kServerCode;
    rule.value = code;
    return rule;
}

inline tessra::FaultRule faultAt(tessra::Call call, tessra::FaultKind kind, std::uint32_t value = 0) {
    tessra::FaultRule rule;
    rule.call = call;
    rule.kind = kind;
    rule.value = value;
    return rule;
}

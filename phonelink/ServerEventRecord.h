#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

/// One event of the phone service, with a copy of its data that the record owns and hands on when it is moved.
struct ServerEventRecord {
    ServerEventRecord(std::uint32_t length, const std::uint8_t* bytes, std::uint32_t firstValue,
                      std::uint32_t secondValue, std::uint16_t thirdValue, std::uint32_t fourthValue)
        : dataLength(length), data(std::make_unique<std::uint8_t[]>(length)), first(firstValue), second(secondValue),
          third(thirdValue), fourth(fourthValue) {
        std::copy_n(bytes, length, data.get());
    }

    std::uint32_t dataLength;
    std::unique_ptr<std::uint8_t[]> data;
    std::uint32_t first;
    std::uint32_t second;
    std::uint16_t third;
    std::uint32_t fourth;
};

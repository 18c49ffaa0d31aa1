#pragma once

#include "tessra/Interfaces.h"

#include <cstdint>
#include <string>

/// One session's choice among the service's ports: the port selected by number, and the phone interface that the
/// service gave for it. Owned by the session's ServerLink; lives on the COM worker thread alone.
class CTESSRAPort {
public:
    /// Raised where a phone is asked for and the selected port has none. Not a std::exception: the session tells it
    /// apart from every other failure by its type.
    class CTESSRAPortException {
    public:
        explicit CTESSRAPortException(std::string message);
        virtual ~CTESSRAPortException() = default;
        virtual const std::string& message() const { return message_; }

    private:
        std::string message_;
    };

    /// Selects port `number` of `server`'s collection. The port that is selected already is left alone. Answers whether
    /// the service gave a phone for it; after a failure no phone is held and the number is the one from before.
    bool select(const com::ComPtr<tessra::IServer>& server, std::uint16_t number);

    /// The phone on the selected port. Throws CTESSRAPortException where none is held.
    com::ComPtr<tessra::IPhonePort> phone() const;

private:
    std::uint16_t number_ = 0; ///< 0 until a port has been selected
    com::ComPtr<tessra::IPhonePort> phone_;
};

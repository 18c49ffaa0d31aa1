#pragma once

#include <ostream>
#include <streambuf>

/// How a terminal that may be coloured shows what follows.
enum class Colour { kPlain, kFailure, kOld, kNew };
/// Does nothing to a stream that no ShownStream colours.
std::ostream& operator<<(std::ostream& stream, Colour colour);

/// Whether a terminal is to be coloured: always, never, or where `file` is one and the environment has no NO_COLOR.
enum class ColourChoice { kAuto, kAlways, kNever };
bool wantsColour(ColourChoice choice, int file);

/// While it lives, what is written to a stream is shown as workbench::shownMessage() does it, whoever writes it: names
/// of a ring or a file, arguments that the option parser complains of, the reasons of failures. A piece of text goes in
/// by one call, so that no character of UTF-8 is torn. The stream outlives it.
class ShownStream : public std::streambuf {
public:
    explicit ShownStream(std::ostream& stream);
    /// Gives the stream back its own buffer.
    ~ShownStream() override;
    /// Whether the names of functions at the front of messages are left out: workbench::withoutFunctions().
    void hideFunctions(bool hidden) { hidesFunctions_ = hidden; }
    ShownStream(const ShownStream&) = delete;
    ShownStream& operator=(const ShownStream&) = delete;

    /// From now on a Colour that is written to the stream has its effect.
    void setColoured(bool coloured) { isColoured_ = coloured; }

private:
    friend std::ostream& operator<<(std::ostream& stream, Colour colour);

    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    std::ostream& stream_;
    std::streambuf* const buffer_;
    bool isColoured_ = false;
    bool hidesFunctions_ = false;
};

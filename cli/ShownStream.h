#pragma once

#include <ostream>
#include <streambuf>

/// While it lives, what is written to a stream is shown as workbench::shownMessage() does it, whoever writes it: names
/// of a ring or a file, arguments that the option parser complains of, the reasons of failures. A piece of text goes in
/// by one call, so that no character of UTF-8 is torn. The stream outlives it.
class ShownStream : private std::streambuf {
public:
    explicit ShownStream(std::ostream& stream);
    /// Gives the stream back its own buffer.
    ~ShownStream() override;
    /// Whether the names of functions at the front of messages are left out: workbench::withoutFunctions().
    void hideFunctions(bool hidden) { hidesFunctions_ = hidden; }
    ShownStream(const ShownStream&) = delete;
    ShownStream& operator=(const ShownStream&) = delete;

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    std::ostream& stream_;
    std::streambuf* const buffer_;
    bool hidesFunctions_ = false;
};

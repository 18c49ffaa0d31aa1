#pragma once

#include <functional>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

/// While it lives, each line that is written to a stream is handed on as well, or instead. Any thread may write; the
/// stream outlives it.
class MessageLines : public std::streambuf {
public:
    /// `take` gets each line without its end. `isPassedOn`: the stream's own buffer gets it, too.
    MessageLines(std::ostream& stream, bool isPassedOn, std::function<void(const std::string&)> take);
    /// Hands on what has no line's end yet, and gives the stream back its own buffer.
    ~MessageLines() override;
    MessageLines(const MessageLines&) = delete;
    MessageLines& operator=(const MessageLines&) = delete;

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    std::ostream& stream_;
    std::streambuf* const buffer_;
    const bool isPassedOn_;
    const std::function<void(const std::string&)> take_;
    std::mutex mutex_;
    std::string line_; ///< the begin of one
};

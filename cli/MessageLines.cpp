#include "cli/MessageLines.h"

#include <utility>

MessageLines::MessageLines(std::ostream& stream, bool isPassedOn, std::function<void(const std::string&)> take)
    : stream_(stream), buffer_(stream.rdbuf()), isPassedOn_(isPassedOn), take_(std::move(take)) {
    stream_.rdbuf(this);
}

MessageLines::~MessageLines() {
    const auto state = stream_.rdstate();
    stream_.rdbuf(buffer_); // which takes a failure for gone
    stream_.setstate(state);
    if (!line_.empty()) {
        take_(line_);
    }
}

std::streamsize MessageLines::xsputn(const char* text, std::streamsize size) {
    const std::scoped_lock lock(mutex_);
    for (const char character : std::string_view(text, static_cast<std::size_t>(size))) {
        if (character == '\n') {
            take_(std::exchange(line_, {}));
        } else {
            line_ += character;
        }
    }
    return isPassedOn_ ? buffer_->sputn(text, size) : size;
}

MessageLines::int_type MessageLines::overflow(int_type character) {
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

int MessageLines::sync() {
    return buffer_->pubsync();
}

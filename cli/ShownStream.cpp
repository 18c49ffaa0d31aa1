#include "cli/ShownStream.h"

#include "workbench/MessageText.h"

ShownStream::ShownStream(std::ostream& stream) : stream_(stream), buffer_(stream.rdbuf()) {
    stream_.rdbuf(this);
}

ShownStream::~ShownStream() {
    const auto state = stream_.rdstate();
    stream_.rdbuf(buffer_); // which takes a failure for gone
    stream_.setstate(state);
}

std::streamsize ShownStream::xsputn(const char* text, std::streamsize size) {
    const std::string_view piece(text, static_cast<std::size_t>(size));
    const std::string shown =
        workbench::shownMessage(hidesFunctions_ ? workbench::withoutFunctions(piece) : std::string(piece));
    const auto shownSize = static_cast<std::streamsize>(shown.size());
    return buffer_->sputn(shown.data(), shownSize) == shownSize ? size : 0;
}

ShownStream::int_type ShownStream::overflow(int_type character) {
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

int ShownStream::sync() {
    return buffer_->pubsync();
}

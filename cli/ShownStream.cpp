#include "cli/ShownStream.h"

#include "platform/kernel/PendingWrite.h"
#include "workbench/MessageText.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

/// In the order of Colour.
constexpr std::array<std::string_view, 4> kCodes{"\033[0m", "\033[31m", "\033[31m", "\033[32m"};

/// Where a stream keeps which ShownStream it has, whatever buffer stands before that.
int keeperIndex() {
    static const int index = std::ios_base::xalloc();
    return index;
}

std::string environment(const char* name) {
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody changes the environment
    return value == nullptr ? "" : value;
}

} // namespace

bool wantsColour(ColourChoice choice, int file) {
    const bool mayColour = environment("NO_COLOR").empty() && environment("TERM") != "dumb";
    return choice == ColourChoice::kAlways || (choice == ColourChoice::kAuto && mayColour && ::isatty(file) != 0);
}

std::ostream& operator<<(std::ostream& stream, Colour colour) {
    const auto* const shown = static_cast<const ShownStream*>(stream.pword(keeperIndex()));
    if (shown != nullptr && shown->isColoured_) {
        const std::string_view code = kCodes.at(static_cast<std::size_t>(colour));
        shown->buffer_->sputn(code.data(), static_cast<std::streamsize>(code.size()));
    }
    return stream;
}

ShownStream::ShownStream(std::ostream& stream) : stream_(stream), buffer_(stream.rdbuf()) {
    stream_.rdbuf(this);
    stream_.pword(keeperIndex()) = this;
}

ShownStream::~ShownStream() {
    const auto state = stream_.rdstate();
    stream_.pword(keeperIndex()) = nullptr;
    stream_.rdbuf(buffer_); // which takes a failure for gone
    stream_.setstate(state);
}

std::streamsize ShownStream::xsputn(const char* text, std::streamsize size) {
    const std::string_view piece(text, static_cast<std::size_t>(size));
    const std::string shown =
        workbench::shownMessage(hidesFunctions_ ? workbench::withoutFunctions(piece) : std::string(piece));
    const auto shownSize = static_cast<std::streamsize>(shown.size());
    const kernel::PendingWrite pending;
    return buffer_->sputn(shown.data(), shownSize) == shownSize ? size : 0;
}

ShownStream::int_type ShownStream::overflow(int_type character) {
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

int ShownStream::sync() {
    const kernel::PendingWrite pending;
    return buffer_->pubsync();
}

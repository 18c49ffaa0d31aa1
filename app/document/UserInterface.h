#pragma once

#include "engine/NvItem.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

enum class MessageIcon { kNone, kExclamation, kError };

/// The caption of messages that say what an exception says.
inline constexpr const char* kExceptionCaption = "Exception Thrown!!";

/// One dialog that asks for a file's path.
struct FileQuestion {
    std::string title;   ///< empty: the platform's own
    std::string filters; ///< text, pattern, text, pattern, each followed by "|"; one more "|" at the end
    /// Given to a name that is typed without one; no dot. Its first three characters count, as the platform for which
    /// the texts were made takes no more.
    std::string extension;
    std::string folder = {}; ///< where to begin; empty: where the last file was
};

/// The text of an optional field that nobody has filled in.
inline constexpr const char* kOptionalPlaceholder = "<Optional>";

/// The properties that the user gives a calibration file, as typed. A field that holds exactly the placeholder was not
/// given; an empty one was.
struct FileProperties {
    std::string fileName;
    std::string phoneModelId = kOptionalPlaceholder;
    std::string esn = kOptionalPlaceholder;
    std::string nvMajorVersion = kOptionalPlaceholder;
    std::string nvMinorVersion = kOptionalPlaceholder;
    std::string softwareVersion = kOptionalPlaceholder;
    std::string clientName = kOptionalPlaceholder;
};

/// What a phone or a file has told of a phone's properties, for whoever wants them in the file that is to be written.
struct PropertyOffer {
    std::string source;        ///< who has told it
    FileProperties properties; ///< the placeholder where it has told nothing; no file name
};
struct OfferedProperties {
    std::optional<PropertyOffer> fromPhone;
    std::optional<PropertyOffer> fromFile;
};

/// All that a document asks of the windows around it. The windows implement it with real dialogs, tests with a script.
///
/// All belongs to the user-interface thread, and the questions are modal; only post() may be called from any thread. A
/// question without an answer (the user cancelled) is nullopt. The object outlives the document that uses it.
class UserInterface {
public:
    virtual ~UserInterface() = default;

    /// Shows a message over the main window until the user confirms it.
    virtual void showMessage(const std::string& text, const std::string& caption, MessageIcon icon) = 0;

    /// The path of an existing file.
    virtual std::optional<std::string> askFileToOpen(const FileQuestion& question) = 0;
    /// The path of a file to write; the user has agreed if there is one already.
    virtual std::optional<std::string> askFileToSave(const FileQuestion& question) = 0;
    /// A file that the user named has been written.
    virtual void fileWritten(const std::string& path) = 0;
    /// A calibration file has been read or written.
    virtual void calibrationFileUsed(const std::string&) {}
    virtual std::optional<FileProperties> askFileProperties(const OfferedProperties& offered) = 0;
    virtual std::optional<std::string> askComPort(const std::vector<std::string>& portNames) = 0;
    /// Lets the user build a list out of `available`, starting from `customized`; answers the list built.
    virtual std::optional<std::vector<NvItem>> askCustomizedList(const std::vector<NvItem>& available,
                                                                 const std::vector<NvItem>& customized) = 0;

    /// Runs `work`, which waits for a phone or a disk, on a thread of its own and returns when it is done. Meanwhile
    /// the windows paint but drop keys and clicks, so `work` alone uses what the caller owns. Throws what `work`
    /// throws, and std::system_error if no thread can be started.
    virtual void runWaiting(const std::function<void()>& work) = 0;

    /// The busy cursor is shown while more have begun than ended.
    virtual void beginBusyCursor() = 0;
    virtual void endBusyCursor() = 0;

    /// Runs `work` on the user-interface thread some time later, after what was posted before it; drops it if the
    /// windows are gone by then.
    virtual void post(std::function<void()> work) = 0;
};

/// Shows the busy cursor while it lives.
class BusyCursor {
public:
    explicit BusyCursor(UserInterface& userInterface) : userInterface_(userInterface) {
        userInterface_.beginBusyCursor();
    }
    ~BusyCursor() { userInterface_.endBusyCursor(); }
    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;

private:
    UserInterface& userInterface_;
};

#pragma once

#include "app/document/PhoneDesk.h"
#include "app/document/WriteRequest.h"
#include "app/frame/CommandPart.h"
#include "app/history/HistoryWindow.h"
#include "app/history/ItemHistory.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

class CMainFrame;
class CNvParam;
class CSplitterFrame;
class ComparePart;
class EditHistory;

/// Tools > History and History of This Item: opens the program's one window of each, or brings it to the front, and
/// does in the document what the first asks for. The windows belong to the main window and outlive the document window
/// from which they were opened; they turn to the document window that is active. User-interface thread.
class HistoryPart : public CommandPart {
public:
    struct Document {
        CSplitterFrame& window;
        CNvParam& editor;
        EditHistory& edits;
        ComparePart& compare;
        std::filesystem::path programDirectory;
        /// Shows the review of a write.
        std::function<void(WriteRequest request)> review;
        /// Shows where the document's values come from.
        std::function<void(PhoneReport report)> report;
    };
    explicit HistoryPart(Document document) : document_(std::move(document)) {}

    bool owns(CommandId command) const override {
        return command == CommandId::kHistory || command == CommandId::kItemHistory;
    }
    bool canRun(CommandId command) const override;
    void run(CommandId command) override;

    /// Shows the window at the session with this uuid.
    void showHistory(const std::string& uuid = {}) const;
    /// Likewise where no document may be open.
    static void showHistoryOf(CMainFrame& main, const std::filesystem::path& programDirectory,
                              const std::string& uuid = {});

private:
    HistorySource source() const;
    static HistoryActions actionsFor(const HistorySource& source);
    static void show(QWidget& main, const HistorySource& source, const std::string& uuid);
    void showItem(const ItemQuestion& question, bool overPhones);
    ItemQuestion selectedItem() const;
    void takeValues(SessionValues values);
    std::string compare(std::vector<SessionSide> sessions);
    std::string restore(SessionValues values);

    const Document document_;
};

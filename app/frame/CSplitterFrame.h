#pragma once

#include "app/document/CCalvaneDoc.h"
#include "app/document/PhoneDesk.h"
#include "app/document/WriteRequest.h"
#include "app/frame/CommandPart.h"
#include "app/frame/CommandTable.h"
#include "app/frame/ReviewSwitch.h"

#include <QMdiSubWindow>

class CNvItemList;
class CNvParam;
class CProgressDlg;
class ComparePart;
class CurvePart;
class EditGuard;
class EditHistory;
class FilterPart;
class HistoryPart;
class QSplitter;
class QtUserInterface;

/// The window of one document: the item list on the left, the editor of the selected item's sub-fields on the right.
/// Carries out the commands of the document menu, knows which pane is active, and owns the document and the progress
/// window. Owned by the main window's area. User-interface thread.
///
/// isBusy()  isWaiting()  runs               may begin                  closing the window
/// false     false        nothing            every command              closes it
/// true      false        a read beside it   what a read does not bar   cancels the read first
/// any       true         a command          nothing, in no window      refused (see Shutdown)
class CSplitterFrame : public QMdiSubWindow {
    Q_OBJECT
public:
    /// What is thrown when a part of the window can't be made; the user has been told.
    struct NotCreated {};

    /// Makes the document as well. Throws NotCreated, and what the catalog's constructor throws.
    CSplitterFrame(QWidget* mainWindow, const std::filesystem::path& programDirectory);
    ~CSplitterFrame() override;

    CCalvaneDoc& document() { return *document_; }
    HistoryPart& historyPart() const { return *historyPart_; }
    /// Whether a read from the phone runs.
    bool isBusy() const { return busy_; }

    /// All document windows in `mainWindow`, also those that close when their read has ended.
    static QList<CSplitterFrame*> allIn(const QWidget& mainWindow) {
        return mainWindow.findChildren<CSplitterFrame*>();
    }
    static bool isAnyBusy(const QWidget& mainWindow);
    /// While a command of any document waits, no other command begins.
    static bool isAnyWaiting(const QWidget& mainWindow);

    /// Whether the window closes as soon as its read has ended.
    bool isClosing() const { return closing_; }
    /// Whether a command waits for a phone or a disk, or for the review of a write; the window can't be closed then.
    bool isWaiting() const { return reviewing_ || (document_ != nullptr && document_->isWaiting()); }
    /// Whether the last read has left out items that can be read now.
    bool canReadMissing() const { return !busy_ && desk_->canReadMissing(); }

    /// What is known of the phone on the document's port, and how many items are changed.
    QString phoneText() const;
    /// What the last read or write came to, or that a read runs; empty where there is nothing to tell.
    QString reportText() const;
    /// Shows more of that: the progress window, or the items that the last read has left out.
    void showReport();
    /// Brings the title up to date.
    void showPhone();

    /// Whether it lists nothing and no command runs, so that a file may be read into it without a question.
    bool isUnused() const { return !busy_ && !closing_ && !isWaiting() && document_->nvItems().empty(); }
    /// Reads a calibration file as Read From MOX does. False, after a message, where that fails.
    bool readCalibrationFile(const QString& path);

    void runCommand(CommandId command);
    /// Whether the command would do anything now, as far as edits decide that.
    bool canRun(CommandId command) const;
    /// Whether what the command shows or hides is shown.
    bool isChecked(CommandId command) const;

    /// To be called when the user has chosen safe hands or the bare commands.
    void safeHandsChanged();
    /// Goes to the next pane (1) or to the one before (-1): the list, the editor, and those of the parts.
    void switchPane(int way);
    /// To be called when the window becomes the one that gets the commands, and when it ceases to be.
    void setFrameActive(bool active);

    /// Asks, in safe hands, what is to become of changed items. False where the window must stay; `again` is called
    /// once a typed value that can't be stored, which is the reason, is mended or dropped.
    bool mayClose(std::function<void()> again);
    /// Closes the window without asking; while a read runs, cancels it, hides the window and closes it when the read
    /// has ended.
    void closeWhenIdle();

signals:
    /// A read has begun or ended, or the document's texts may have changed.
    void stateChanged();
    void readEnded();

protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    enum class Pane { kList, kEditor };

    void makePanes();
    void makeParts();
    /// Shows in the curves what the document is compared with.
    void showCompared();
    void connectEdits();
    void focusMoved(QWidget* to);
    void setActivePane(Pane pane);
    void makeListActive();
    void setBusy(bool busy);
    void readFromPhone();
    void readMissing();
    /// Shows the progress window around a read, which is told what to call at its end.
    void beginRead(const std::function<void(std::function<void()> ended)>& read);
    /// Carries out a command that safe hands do otherwise: writes are reviewed first, and what a connected phone is
    /// told goes to the one on the document's port. False for other commands.
    bool runSafely(CommandId command, void (*run)(CCalvaneDoc& document));
    void review(WriteRequest request);
    /// The part that the command belongs to; null for none.
    CommandPart* partOf(CommandId command) const;
    /// Makes the list the active pane where the command wants it, so that the editor stores what was typed into it.
    void leaveEditorFor(CommandId command);
    void runDocumentCommand(CommandId command);
    /// Tells of items that the file just read has more than once.
    void tellRepeated();
    /// Writes the selected item, whose edits are stored.
    void writeSelectedItem();
    void showHelp();

    std::filesystem::path programDirectory_;
    ReviewSwitch safeHands_;
    std::unique_ptr<QtUserInterface> userInterface_;
    std::unique_ptr<CProgressDlg> progress_; ///< outlives the document, whose read reports to it
    std::unique_ptr<PhoneWatch> watch_;      ///< outlives the document, whose session it is registered with
    std::unique_ptr<CCalvaneDoc> document_;
    std::unique_ptr<PhoneDesk> desk_;
    QSplitter* splitter_ = nullptr;
    std::unique_ptr<EditHistory> history_;
    CNvItemList* list_ = nullptr;
    CNvParam* editor_ = nullptr;
    std::unique_ptr<EditGuard> guard_;
    std::vector<std::unique_ptr<CommandPart>> parts_;
    FilterPart* filter_ = nullptr;       ///< one of them
    ComparePart* compare_ = nullptr;     ///< likewise
    HistoryPart* historyPart_ = nullptr; ///< likewise
    CurvePart* curve_ = nullptr;         ///< likewise; null where the program is built without curves
    Pane activePane_ = Pane::kList;
    bool busy_ = false;
    bool reviewing_ = false;
    bool closing_ = false;
};

#pragma once

#include "app/compare/CompareLoad.h"
#include "app/document/PhoneJobs.h"
#include "workbench/Units.h"

#include <QMdiSubWindow>
#include <QPointer>
#include <QTimer>
#include <array>
#include <functional>
#include <memory>
#include <vector>

class CompareModel;
class CompareTree;
class QBoxLayout;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

/// What a compare window has done beside itself, by the window of its document.
struct CompareActions {
    using Set = std::shared_ptr<const workbench::ItemSet>;

    /// Gives these values to the document, as one edit.
    std::function<void(std::vector<NvItem> values)> takeOver;
    /// Shows the review of a write of these values, which are of `from`; `isHome`: that is of the document itself.
    std::function<void(std::vector<NvItem> values, const Set& from, bool isHome)> write;
    /// Called when the compared set is another one.
    std::function<void()> comparedChanged;
};

/// Two sets of items beside each other, in the area of the document windows. It holds copies: the document beside which
/// it was opened may change, and may close, and is then reached no more. Reads of phones and files, comparisons and
/// saves run beside the windows and can be cancelled.
///
/// Owned by the area. User-interface thread.
class CompareWindow : public QMdiSubWindow {
    Q_OBJECT
public:
    /// `ringPath`: of the decoder ring that items of phones and files get their layouts from; `units`: of its
    /// sub-fields. Begins to read.
    CompareWindow(std::shared_ptr<UserInterface> userInterface, QMdiSubWindow* documentWindow, CompareActions actions,
                  std::string ringPath, workbench::Units units, std::array<CompareSource, 2> sources);
    ~CompareWindow() override;

    /// The window of the document to which values can be taken over; null once it is closed.
    QMdiSubWindow* documentWindow() const { return documentWindow_; }
    /// To be called before that is closed.
    void leaveDocument();
    /// What the document is compared with: the side that is not the document's own, the right one where both or none
    /// are. Null before the first comparison.
    std::shared_ptr<const workbench::ItemSet> comparedSet() const;
    /// To be called when the document's items have other values: the sides that show them are compared anew, and the
    /// line below the rows goes.
    void documentChanged();
    /// Shows a line below the rows.
    void tell(const QString& text);
    /// Whether the window closes as soon as what runs has ended.
    bool isClosing() const { return closing_; }
    bool isBusy() const { return jobs_.isRunning(); }

protected:
    void closeEvent(QCloseEvent* event) override;
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QPushButton* addButton(QBoxLayout& row, const char* name, const char* text, void (CompareWindow::*pressed)());
    void makeTop(QBoxLayout& column);
    void makeBottom(QBoxLayout& column);
    /// Reads the sides anew, of documents alone or all of them, and compares.
    void compare(bool documentsOnly);
    void compareAgain() { compare(false); }
    void take(std::shared_ptr<const workbench::SetComparison> comparison, const std::string& failure);
    void showTexts();
    void showButtons();
    void cancel();
    void tickAll();
    void takeOver();
    void write();
    void save();
    void writeFile(const std::string& path);
    void next();
    void previous();
    std::vector<NvItem> tickedValues();
    std::size_t chosenSide() const;
    bool isHome(std::size_t side) const;

    const std::shared_ptr<UserInterface> userInterface_;
    QPointer<QMdiSubWindow> documentWindow_;
    const CompareActions actions_;
    const std::string ringPath_;
    const std::array<CompareSource, 2> sources_;
    std::shared_ptr<const workbench::SetComparison> comparison_;
    CompareModel* model_;
    CompareTree* tree_;
    QLabel* sides_;
    QLabel* warning_;
    QLabel* counts_;
    QLabel* ticked_;
    QLabel* message_;
    QCheckBox* differencesOnly_;
    QLineEdit* filter_;
    QComboBox* valuesOf_;
    QProgressBar* progress_;
    std::vector<QPushButton*> idleButtons_; ///< those that need a comparison and nothing running
    QPushButton* tickAll_ = nullptr;
    QPushButton* takeOver_ = nullptr;
    QPushButton* write_ = nullptr;
    QPushButton* again_ = nullptr;
    QPushButton* cancel_ = nullptr;
    QTimer changeTimer_; ///< several changes of the document in a row are one
    bool closing_ = false;
    PhoneJobs jobs_; ///< last: its thread's end is reported to all of the above
};

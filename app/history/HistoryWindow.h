#pragma once

#include "app/history/HistoryRows.h"
#include "app/history/StoreDesk.h"
#include "workbench/ItemSet.h"
#include "workbench/record/SessionItems.h"

#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QBoxLayout;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

/// A session that can be one side of a comparison.
struct SessionSide {
    std::string label;
    /// Asks the store anew; any thread. Throws std::exception with a text for the user.
    std::function<std::shared_ptr<const workbench::ItemSet>()> load;
};

/// Values of a session, for a document or a phone.
struct SessionValues {
    record::Session session;
    record::SessionSet set;
    bool hasDate = false; ///< the loaded date is among them, and is not to be stamped
};

/// What the window has done beside itself, by the main window and its documents. A text that is answered says why it
/// was not done, and is shown; empty: it was.
struct HistoryActions {
    std::function<std::string(SessionValues values)> openAsDocument;
    /// The first of the sessions is offered first.
    std::function<std::string(std::vector<SessionSide> sessions)> compare;
    /// The port of the phone that a restore would be written to; empty where there is no document for it.
    std::function<std::string()> restorePort;
    std::function<std::string(SessionValues values)> restore;
    /// Shows one item of a phone over time and over all phones.
    std::function<void(const record::PhoneRow& phone, std::uint16_t number, bool overPhones)> showItem;
};

/// Tools > History: which phones the record knows, what was read from each and written to it, and what can be done with
/// that. It asks the store beside the windows; closed, it is hidden and asks no more.
///
/// Owned by the main window; knows no document. User-interface thread.
class HistoryWindow : public QWidget {
    Q_OBJECT
public:
    HistoryWindow(std::shared_ptr<UserInterface> userInterface, HistorySource source, HistoryActions actions,
                  QWidget* mainWindow);

    /// Asks for everything anew; goes to the session with this uuid where one is named.
    void refresh(const std::string& uuid = {});
    bool isAsking() const { return desk_.isAsking(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    enum Topic { kPhones, kSessions, kItems, kChange };

    struct Known {
        std::string about;
        std::string place;
        std::vector<record::PhoneRow> phones;
        std::optional<record::Session> wanted;
        bool isOwnInstead = false;
    };

    QWidget* makePhones();
    QWidget* makeSessions();
    QWidget* makeItems();
    void makeCommands(QBoxLayout& column);
    QPushButton* addButton(QBoxLayout& row, const char* name, const char* text, void (HistoryWindow::*pressed)());
    void makeKeys();
    void takePhones(Known known);
    void askSessions();
    void takeSessions(std::vector<record::Session> sessions);
    void askItems();
    void showItems();
    void showButtons();
    void showState();
    void tell(const QString& text);
    const record::PhoneRow* phone() const;
    const record::Session* session() const;
    record::Which which() const;
    /// Does `use` with the values of the chosen session once they are there.
    void askValues(std::function<void(SessionValues)> use);
    SessionSide sideOf(const record::Session& session) const;
    void openAsDocument();
    void compare();
    void restore();
    void report();
    void editNote();
    void showOverTime();
    void showOverPhones();
    void showItem(bool overPhones);

    const std::shared_ptr<UserInterface> userInterface_;
    const HistorySource source_;
    const HistoryActions actions_;
    std::vector<record::PhoneRow> phones_;
    std::vector<record::Session> sessions_;
    std::vector<ShownItem> items_;
    std::vector<const ShownItem*> shownItems_;
    std::string wantedSession_; ///< gone to once the sessions are there
    std::string about_;
    bool isOwnInstead_ = false; ///< this computer's own store is shown where the shared one lacks the session
    RowsTable phoneTable_;
    RowsTable sessionTable_;
    RowsTable itemTable_;
    QLabel* store_;
    QLabel* message_;
    QLineEdit* filter_;
    QCheckBox* changedOnly_;
    QComboBox* values_;
    std::vector<QPushButton*> sessionButtons_;
    std::vector<QPushButton*> itemButtons_;
    StoreDesk desk_; ///< last: its thread's end is reported to all of the above
};

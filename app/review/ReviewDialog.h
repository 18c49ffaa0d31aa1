#pragma once

#include "app/document/WriteReview.h"

#include <QDialog>

class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeView;
class ReviewRowsModel;

/// Shows one write from its review to its result: the phone, the items with old and new values and a tick each, then
/// the progress, then what became of each item. Nothing is sent before the user presses Write; Cancel is the default
/// button. User-interface thread; the review outlives it.
class ReviewDialog : public QDialog {
    Q_OBJECT
public:
    ReviewDialog(WriteReview& review, QWidget* parent);
    ~ReviewDialog() override;

    /// Cancel, Escape and the close box: ends what runs, otherwise closes the window.
    void reject() override;

private:
    QPushButton* addButton(const char* name, const char* text, void (ReviewDialog::*pressed)());
    void makeRows();
    void makeButtons();
    void showReview();
    void showTexts();
    void showButtons();
    void write();
    void retry();
    void skip();
    void enterCode();
    /// Asks what is to be agreed to, and records what is next; true where the user agrees to all of it.
    bool isAgreed(WriteReview::Next next);
    bool agreesTo(const std::string& question);

    WriteReview& review_;
    ReviewRowsModel* rows_;
    QLabel* phone_;
    QLabel* counts_;
    QLabel* message_;
    QTreeView* tree_;
    QCheckBox* differencesOnly_;
    QCheckBox* verifyAfterReset_;
    QProgressBar* progress_;
    QPushButton* again_ = nullptr;
    QPushButton* code_ = nullptr;
    QPushButton* skip_ = nullptr;
    QPushButton* write_ = nullptr;
    QPushButton* cancel_ = nullptr;
    WriteReview::Stage shownStage_ = WriteReview::Stage::kReading;
    bool closesWhenEnded_ = false;
};

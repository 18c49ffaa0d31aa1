#pragma once

#include "app/frame/CommandPart.h"

#include <QPointer>
#include <QTimer>

class CCalvaneDoc;
class CNvItemList;
class CNvParam;
class MainStatusBar;
class QWidget;

/// The commands of the filter and of the search that goes on, and what other commands have to say of a filter: they
/// work on the whole list, also on the items that it hides.
///
/// Owned by the document's window, whose panes outlive it. User-interface thread.
class FilterPart : public CommandPart {
public:
    FilterPart(QWidget& window, CCalvaneDoc& document, CNvItemList& list, CNvParam& editor);
    ~FilterPart() override;

    bool owns(CommandId command) const override;
    void run(CommandId command) override;
    bool canRun(CommandId command) const override;
    bool isChecked(CommandId command) const override;

    /// Where the command would write items that the filter hides: tells how many, and asks. False where it must not
    /// run; the filter may have been emptied then.
    bool agreesToHidden(CommandId command);

private:
    std::size_t hiddenOf(CommandId command) const;
    void showNotice(const QString& notice);
    void endNotice();
    void markRows();

    QWidget& window_;
    CCalvaneDoc& document_;
    CNvItemList& list_;
    CNvParam& editor_;
    QPointer<MainStatusBar> bar_; ///< that of the main window, once it was needed
    QString notice_;              ///< what stands in it
    QTimer noticeEnd_;
};

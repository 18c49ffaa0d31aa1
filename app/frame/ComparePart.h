#pragma once

#include "app/compare/CompareLoad.h"
#include "app/frame/CommandPart.h"

#include <QList>
#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class CNvParam;
class CSplitterFrame;
class CompareWindow;
class EditHistory;
struct WriteRequest;

/// Tools > Compare: asks what is to be compared, opens the windows, and does in the document what they ask for.
class ComparePart : public QObject, public CommandPart {
    Q_OBJECT
public:
    struct Document {
        CSplitterFrame& window;
        CNvParam& editor;
        EditHistory& history;
        std::string ringPath;
        /// Shows the review of a write.
        std::function<void(WriteRequest request)> review;
    };

    /// `compared` is called when comparedSet() may have changed.
    ComparePart(Document document, std::function<void()> compared);
    ~ComparePart() override;

    bool owns(CommandId command) const override { return command == CommandId::kCompare; }
    void run(CommandId command) override;
    /// The same with these sides to be chosen, too; the first of them is offered on the left.
    void compareWith(std::vector<CompareSource> sides);

    /// What the document is compared with in the compare window that was opened last; null where there is none.
    std::shared_ptr<const workbench::ItemSet> comparedSet() const;

private:
    bool storeTyped();
    std::vector<CompareSource> sourcesOfDocuments() const;
    void takeOver(CompareWindow& asking, const std::vector<NvItem>& values);
    void write(CompareWindow& asking, std::vector<NvItem> values, const CompareSource::Set& from, bool isHome);

    Document document_;
    std::function<void()> compared_;
    QList<QPointer<CompareWindow>> windows_;
};

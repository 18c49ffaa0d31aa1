#pragma once

#include "app/frame/CommandPart.h"

class CCalvaneDoc;
class QWidget;

/// Tools > Document Properties: a window with what is known of the document and of where its items come from, each line
/// to be selected and copied. The document and its window outlive it. User-interface thread.
class DocumentPropertiesPart : public CommandPart {
public:
    DocumentPropertiesPart(QWidget& window, const CCalvaneDoc& document) : window_(window), document_(document) {}

    bool owns(CommandId command) const override { return command == CommandId::kDocumentProperties; }
    void run(CommandId command) override;

private:
    QWidget& window_;
    const CCalvaneDoc& document_;
};

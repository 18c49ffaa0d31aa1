#pragma once

#include "app/curve/CurvePane.h"
#include "app/frame/CommandPart.h"

#include <QPointer>

class CNvParam;
class QSplitter;

/// The command View > Curve: shows and hides the curves below the editor. Whether they are shown, and the share that
/// they have, is remembered for the next window. The pane is made when it is shown for the first time; until then the
/// editor stands in the window's splitter by itself. The point chosen in the plot and the row edited last go together.
class CurvePart : public QObject, public CommandPart {
    Q_OBJECT
public:
    /// `editor` stands in `panes`, which own what is added. The others as for CurvePane.
    CurvePart(QSplitter& panes, CNvParam& editor, CCalvaneDoc& document, EditHistory& history,
              UserInterface& userInterface, std::function<bool()> storeTyped);

    bool owns(CommandId command) const override { return command == CommandId::kCurve; }
    void run(CommandId command) override;
    bool isChecked(CommandId command) const override;
    QWidget* pane() const override;

    void setCompared(ComparedItems compared);
    /// To be called when what the curves are compared with has changed.
    void refresh();

private:
    void show();
    void connectPlot();
    void savePlace() const;

    QSplitter& panes_;
    CNvParam& editor_;
    const std::function<CurvePane*()> makePane_;
    QPointer<QSplitter> split_; ///< null until the curves are shown
    CurvePane* pane_ = nullptr;
    ComparedItems compared_;
};

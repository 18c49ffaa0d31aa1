#pragma once

#include <QObject>
#include <filesystem>

class QWidget;

/// Names the part of the help that tells about a widget and what stands in it: an anchor of CALVANE.HLP.
void setHelpPart(QWidget& widget, const char* anchor);
/// The part of the help that tells about `widget`; empty where none does. Null is no widget.
QString helpPartOf(const QWidget* widget);

/// Shows the help where F1 is pressed, in every window of the program and in its dialogs, at the part that tells about
/// what has the focus. User-interface thread.
class FocusHelp : public QObject {
    Q_OBJECT
public:
    /// `programDirectory` is where the help stands.
    explicit FocusHelp(std::filesystem::path programDirectory, QObject* parent = nullptr);

    /// Shows the help at `anchor`, or from its beginning. What opens it is not known: no failure is reported.
    static void show(const std::filesystem::path& programDirectory, const QString& anchor, QWidget* parent);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::filesystem::path programDirectory_;
};

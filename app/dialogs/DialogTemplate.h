#pragma once

#include <QDialog>
#include <QString>
#include <span>

/// What a control of a dialog template becomes.
enum class ControlKind {
    kStaticText,    ///< QLabel, the buddy of the control after it
    kEdit,          ///< QLineEdit
    kPushButton,    ///< QPushButton
    kDefaultButton, ///< QPushButton that Enter presses
    kCheckBox,      ///< QCheckBox
    kListBox,       ///< DialogListBox
    kComboBox,      ///< DialogComboBox with an edit field; the height counts the dropped list and is not used
    kDropDownList,  ///< DialogComboBox to choose from; as ComboBox
    kProgressBar,   ///< QProgressBar
    kIcon,          ///< QLabel; its owner sets a pixmap or an icon
};

/// Flags of a control's style.
enum ControlStyle : unsigned {
    kReadOnly = 1U << 0,          ///< edit
    kMultipleSelection = 1U << 1, ///< list box: each click toggles a line
};

/// How a control follows when its dialog has less room than its template says (a small screen, a large font): the share
/// of the missing width and height, in percent, by which each of its edges moves. {0, 0, 100, 100} is a control that
/// takes the whole loss, {100, 100, 100, 100} one that keeps its size and its distance to the lower right corner.
struct ControlAnchor {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

inline constexpr int kIdOk = 1;
inline constexpr int kIdCancel = 2;
inline constexpr int kIdStatic = -1; ///< a control without an id of its own

/// One control. Place and size are in dialog units: a quarter of the dialog font's average character width across, an
/// eighth of its height down.
struct DialogControl {
    int id;
    ControlKind kind;
    const char* text; ///< UTF-8, "&" before a mnemonic; entries of a DropDownList, one a line
    int x, y, width, height;
    unsigned style = 0; ///< ControlStyle flags
    ControlAnchor anchor = {};
};

/// A dialog as a table of its controls, in the order in which Tab walks them.
///
/// Templates are constants. Their font, "MS Sans Serif" at 8 points, stands for the platform's dialog
/// font at the size that the user chose.
struct DialogTemplate {
    int id;
    const char* caption; ///< empty for a form
    int width, height;   ///< of the area within the frame, in dialog units
    std::span<const DialogControl> controls;
};

/// Makes the controls of `form` as children of `parent` and lays them out, now and whenever the font or the style
/// changes. The size that the template takes becomes the widget's minimum size. Each control has its id as the property
/// "controlId" and the object name "ctl_<id>". User-interface thread.
void createControls(QWidget& parent, const DialogTemplate& form);

/// The control with this id among the children of `parent`; null where there is none.
QWidget* findControl(const QWidget& parent, int id);

/// The same as a widget of type W. Asking for an id that the template lacks, or for the wrong type, is a mistake of
/// ours and ends the program.
template <typename W>
W& control(const QWidget& parent, int id) {
    auto* found = qobject_cast<W*>(findControl(parent, id));
    Q_ASSERT_X(found != nullptr, "control", "no control of this id and type");
    if (found == nullptr) {
        qFatal("dialog control %d is missing or of another kind", id);
    }
    return *found;
}

/// A dialog of fixed size made from a template. The buttons with the ids 1 and 2 accept and reject; Escape and the
/// close box reject. On a screen that is too small for it, it takes the screen's room: anchored controls give way
/// first, then the contents scroll.
///
/// User-interface thread; owned by its parent or by the caller's stack.
class TemplateDialog : public QDialog {
    Q_OBJECT

public:
    /// `form` and its controls must outlive the dialog.
    explicit TemplateDialog(const DialogTemplate& form, QWidget* parent = nullptr);

    /// The control with this id, as control() above.
    template <typename W>
    W& item(int id) const {
        return control<W>(*this, id);
    }

    /// Runs onInit() each time the dialog opens.
    void setVisible(bool visible) override;

protected:
    /// Prepares the controls for a run, before they show. Here: the focus goes to the first control that takes it, with
    /// the text of an edit box selected.
    virtual void onInit();

    /// What the OK button and Enter do; to be extended by a dialog that has results to take. Closes with OK.
    virtual void onOk() { accept(); }

    bool event(QEvent* event) override;

private:
    /// Gives the dialog the size of its template, or the screen's where that is smaller.
    void fitToScreen();

    const DialogTemplate& form_;
    QWidget* page_; ///< holds the controls; within a scroll area that shows bars only where it must
};

#include "app/frame/StatusText.h"

#include "app/dialogs/ShownText.h"

bool StatusText::set(const QString& text) {
    if (text == text_) {
        return false;
    }
    text_ = text;
    part_.setToolTip(plainToolTip(text));
    return true;
}

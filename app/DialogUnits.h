#pragma once

#include <QFont>
#include <QFontMetrics>
#include <QRect>

/// Dialog units of a font: a quarter of its average character's width, an eighth of its height.
class DialogUnits {
public:
    explicit DialogUnits(const QFont& font) {
        const QFontMetrics metrics(font);
        const QString letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
        charWidth_ = (metrics.horizontalAdvance(letters) / 26 + 1) / 2;
        charHeight_ = metrics.height();
    }

    QRect toPixels(const QRect& units) const {
        return {units.x() * charWidth_ / 4, units.y() * charHeight_ / 8, units.width() * charWidth_ / 4,
                units.height() * charHeight_ / 8};
    }

private:
    int charWidth_;
    int charHeight_;
};

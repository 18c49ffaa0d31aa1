// Many documents and their calibration files: where these open, what is remembered and told of them.

#include "app/document/DocumentProperties.h"
#include "app/frame/RecentFiles.h"
#include "tests/app/WindowFixture.h"

#include <QDropEvent>
#include <QMenu>
#include <QMimeData>
#include <QSettings>
#include <QUrl>

namespace {

class Files : public WindowFixture {
protected:
    Files() {
        QSettings().clear();
        writeText(folder / "NV Decoder.vrk", kRing);
        Calvane catalog;
        catalog.loadDecoderRingFile(folder / "NV Decoder.vrk");
        catalog.setNvItem(10, "5,-2");
        catalog.createMoxFile((folder / "a.mox").string(), 70, 123456789, 1, 2, "7.1", "Bench");
        catalog.createMoxFile((folder / "b.mox").string());
        writeText(folder / "torn.mox", "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 and no more");
    }
    QStringList titles() {
        QStringList titles;
        for (const CSplitterFrame* one : CSplitterFrame::allIn(window())) {
            titles << one->windowTitle().remove("RF NV ITEMS ONLY");
        }
        return titles;
    }
    bool become(const QStringList& expected) {
        return QTest::qWaitFor([&] { return titles() == expected; });
    }
    QString property(const char* label) {
        for (const DocumentProperty& one : documentProperties(doc())) {
            if (one.label == label) {
                return QString::fromStdString(one.text);
            }
        }
        return "?";
    }
    void dropOn(QWidget& widget, const QString& path) {
        QMimeData data;
        data.setText("typed");
        data.setUrls({QUrl::fromLocalFile(path)});
        QDragEnterEvent enter({1, 1}, Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&widget, &enter);
        QDropEvent drop({1, 1}, Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&widget, &drop);
    }
};

TEST_F(Files, OpenInDocumentsOfTheirOwnAndAreRemembered) {
    start();
    expectMessage();
    app().openCalibrationFiles({path("a.mox"), path("torn.mox"), path("b.mox")});
    EXPECT_NE(takeMessage().find("torn.mox"), std::string::npos);
    EXPECT_TRUE(become({" - a.mox", " - b.mox"})) << "the first takes the empty document, the torn one leaves none";
    enter(0, "6");
    dropOn(edit(0), path("a.mox"));
    EXPECT_EQ(edit(0).text(), "6") << "a file's name is no value";
    EXPECT_TRUE(become({" - a.mox", " - b.mox - 1 changed", " - a.mox"}));
    EXPECT_EQ(recentCalibrationFiles().paths(), (QStringList{path("a.mox"), path("b.mox")}));

    std::filesystem::remove(folder / "b.mox");
    expectMessage();
    for (auto* menu : window().findChildren<QMenu*>()) {
        if (menu->title() == "Recent Calibration &Files") {
            emit menu->aboutToShow();
            menu->actions().at(1)->trigger();
        }
    }
    EXPECT_EQ(takeMessage(),
              "Recent Calibration Files: " + (folder / "b.mox").string() + " is gone. It has been taken off the list.");
    EXPECT_EQ(recentCalibrationFiles().paths(), QStringList{path("a.mox")});
}

TEST_F(Files, OpenFromTheCommandLine) {
    const struct {
        QString bare, option, title, port;
        bool fails;
    } rows[] = {{path("a.mox"), {}, " - a.mox", "COM1", false},
                {path("port"), path("a.mox"), " - a.mox", "COM7", false},
                {{}, path("none.mox"), "", "COM1", true},
                {path("torn.mox"), {}, "", "COM1", true}};
    writeText(folder / "port", "COM7\n");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bare.toStdString());
        writeText(folder / "CalvaneConfig.ini", "COM1\n");
        if (row.fails) {
            expectMessage();
        }
        ASSERT_TRUE(app().initInstance(folder.path, row.bare, {row.option}));
        const QString& file = row.option.isEmpty() ? row.bare : row.option;
        EXPECT_TRUE(QTest::qWaitFor([&] { return doc().fileName() == file.toStdString() && !frame().isWaiting(); }));
        EXPECT_TRUE(become({row.title}));
        EXPECT_EQ(doc().comPort(), row.port.toStdString());
        EXPECT_EQ(messages.size(), row.fails ? 1u : 0u);
        messages.clear();
        app().end();
    }
}

TEST_F(Files, TellWhatIsKnownOfThePhone) {
    safe = true;
    startAndRead();
    EXPECT_EQ(property("Phone") + property("Software") + property("Read on"), "Sample 00000000011.0COM1");
    app().openCalibrationFiles({path("a.mox")});
    EXPECT_EQ(property("Phone model ID") + " " + property("ESN") + " " + property("NV version") + " " +
                  property("System software version") + " " + property("Client name"),
              "70 123456789 (0x075BCD15) 1.2 7.1 Bench");
    readPhone();
    const auto fieldsAfter = [&](const std::vector<int>& pressed, const char* esn) {
        QStringList fields;
        whenAsked([&](QWidget* modal) {
            auto& dialog = *qobject_cast<TemplateDialog*>(modal);
            dialog.item<QLineEdit>(1005).setText(esn);
            for (const int id : pressed) {
                dialog.item<QPushButton>(id).click();
            }
            for (int id = 1004; id <= 1009; ++id) {
                fields << dialog.item<QLineEdit>(id).text();
            }
            dialog.reject();
        });
        run(CommandId::kWriteListedToMox);
        return fields.join(' ');
    };
    const QString untouched = "<Optional> <Optional> <Optional> <Optional> <Optional> <Optional>";
    EXPECT_EQ(fieldsAfter({}, "<Optional>"), untouched);
    EXPECT_EQ(fieldsAfter({1040, 1041}, "9"), "70 9 1 2 1.0 Bench") << "what was typed or filled in stays";
    run(CommandId::kNew);
    EXPECT_EQ(fieldsAfter({1040, 1041}, "<Optional>"), untouched) << "nothing was read here";
}

} // namespace

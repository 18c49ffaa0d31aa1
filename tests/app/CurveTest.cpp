// The curves below the editor: what they show, and that moving a point is an edit of exactly that value.

#include "app/curve/CurvePane.h"
#include "app/curve/CurvePlot.h"
#include "tests/app/WindowFixture.h"

#include <sys/stat.h>

#include <QImage>
#include <QLegend>
#include <QLegendMarker>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QSplitter>
#include <QXmlStreamReader>

namespace {

TEST(CurveValues, StayInTheirTypeAndAreExact) {
    struct Case {
        SubItemType type;
        const char* from;
        double steps;
        const char* to;
    };
    using enum SubItemType;
    for (const Case& c : std::vector<Case>{
             {BYTE, "250", 3.4, "253"},
             {BYTE, "250", 6, "255"},
             {BYTE, "5", -1e300, "0"},
             {SIGNED_BYTE, "-127", -2, "-128"},
             {SIGNED_WORD, "-1", 2, "1"},
             {SIGNED_DWORD, "2147483647", 1, "2147483647"},
             {QWORD, "18446744073709551613", 1, "18446744073709551614"},
             {QWORD, "18446744073709551613", 1e30, "18446744073709551615"},
             {SIGNED_QWORD, "-9007199254740993", 0.2, "-9007199254740993"},
         }) {
        EXPECT_EQ((Curve{"", "", c.type, false, {}}.stepped(c.from, c.steps)), c.to) << c.from << " by " << c.steps;
    }
}

TEST(CurveScales, HaveRoundStepsAndStayInTheWhole) {
    for (const auto& [span, most, step] :
         {std::tuple{10.0, 5, 2.0}, {0.95, 5, 0.2}, {65535.0, 6, 20000.0}, {1e-7, 1, 1e-7}, {0.0, 5, 1.0}}) {
        EXPECT_DOUBLE_EQ(niceStep(span, most), step) << span;
    }
    EXPECT_EQ(decimalsOf(0.2), 1);
    EXPECT_EQ(decimalsOf(0.001), 3);
    EXPECT_EQ(decimalsOf(50), 0);
    const AxisRange near = zoomed({0.5, 1}, 1, 0.5, 0.1);
    EXPECT_DOUBLE_EQ(near.low, 0.75) << "what is under the mouse stays there";
    EXPECT_DOUBLE_EQ(near.high, 1);
    EXPECT_DOUBLE_EQ(zoomed(near, 0, 0.001, 0.1).span(), 0.1);
    EXPECT_DOUBLE_EQ(zoomed(near, 1, 100, 0.1).low, 0);
    EXPECT_DOUBLE_EQ(moved(near, 7).high, 1);
}

constexpr const char* kTables =
    "NV_GAIN,10,ReadWrite,<BYTE,gain 1>#<BYTE,gain 2>#<BYTE,gain 3>#<BYTE,gain 4>#<WORD,date>#\n"
    "NV_FIXED,20,ReadOnly,<WORD,p 1>#<WORD,p 2>#<WORD,p 3>#<WORD,p 4>#\n"
    "NV_SINGLE,30,ReadWrite,<BYTE,a>#\n"
    "NV_EMPTY,40,ReadWrite,<BYTE,1>#<BYTE,2>#<BYTE,3>#<BYTE,4>#\n"
    "NV_TWO,50,ReadWrite,<SIGNED_BYTE,up 1>#<SIGNED_BYTE,up 2>#<SIGNED_BYTE,up 3>#<SIGNED_BYTE,up 4>#"
    "<SIGNED_BYTE,down 1>#<SIGNED_BYTE,down 2>#<SIGNED_BYTE,down 3>#<SIGNED_BYTE,down 4>#\n"
    "NV_FAR,60,ReadWrite,<QWORD,a &lt;i 1>#<QWORD,a &lt;i 2>#<QWORD,a &lt;i 3>#<QWORD,a &lt;i 4>#\n";

class Curves : public WindowFixture {
protected:
    void SetUp() override {
        safe = true;
        QSettings().remove("curve");
        writeText(folder / "NV Decoder.units", "10 1-4 dB -0.5 0 -60 -20\n50 5-8 V 0.1\n50 1-3 dB 1\n60 1-4 a 1e15\n");
        plugIn("10 0 64788ca00102\n20 0 01000200\n30 0 01\n50 0 0102030405060708\n"
               "60 0 0000000000000000ffffffffffffffff0100000000000000ffffffffffffffff\n");
        start(kTables);
        readPhone();
        run(CommandId::kCurve);
        clickLine(0);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window().windowHandle()));
    }

    CurvePane& pane() { return *frame().findChild<CurvePane*>(); }
    CurvePlot& plot() { return pane().plot(); }
    std::string value(std::size_t field) { return doc().selectedItem()->getSubItems()[field].value; }
    std::string note() { return frame().findChild<QLabel*>("curve_note")->text().toStdString(); }
    QPoint placeOf(std::size_t point) { return plot().curves().positionOf({0, point}).toPoint(); }
    void mouse(QEvent::Type type, QPoint at, Qt::MouseButtons held) {
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, plot().viewport()->mapToGlobal(at), button, held, {});
        QApplication::sendEvent(plot().viewport(), &event);
    }
    void drag(QPoint from, QPoint by) {
        focusBack();
        plot().setFocus();
        mouse(QEvent::MouseButtonPress, from, Qt::LeftButton);
        mouse(QEvent::MouseMove, from + by / 2, Qt::LeftButton);
        mouse(QEvent::MouseMove, from + by, Qt::LeftButton);
        mouse(QEvent::MouseButtonRelease, from + by, Qt::NoButton);
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&plot(), key, modifiers); }
};

TEST_F(Curves, DragAPointAsOneEditOfItsValue) {
    const QPoint first = placeOf(0);
    drag(first, {0, 0});
    EXPECT_EQ(value(0), "100") << "a click only chooses";
    drag(first, QPoint(40, placeOf(2).y() - first.y()));
    EXPECT_NEAR(std::stoi(value(0)), 140, 2) << "down is more where the factor is negative";
    EXPECT_EQ(value(1) + value(2) + value(3) + value(4), "120140160513");
    EXPECT_EQ(edit(0).text().toStdString(), value(0));
    drag(placeOf(3), {0, -100000});
    EXPECT_EQ(value(3), "0");
    run(CommandId::kUndo);
    run(CommandId::kUndo);
    EXPECT_EQ(value(0) + " " + value(3), "100 160");
    EXPECT_FALSE(window().action(CommandId::kUndo)->isEnabled()) << "each drag was one step";
}

TEST_F(Curves, ShowTheLargestValuesThereAreAndNoMarkup) {
    clickLine(4);
    EXPECT_GT(plot().curves().gridStep(0), 1e33) << "not as many lines as there would be with the step before";
    const auto markers = plot().curves().legend()->markers();
    EXPECT_TRUE(std::ranges::any_of(markers,
                                    [](const QLegendMarker* marker) { return marker->label().contains("&amp;lt;i"); }));
}

TEST_F(Curves, DropWhatEscapeEndsAndLeaveReadOnlyItems) {
    mouse(QEvent::MouseButtonPress, placeOf(0), Qt::LeftButton);
    mouse(QEvent::MouseMove, placeOf(0) + QPoint(0, 40), Qt::LeftButton);
    key(Qt::Key_Escape);
    mouse(QEvent::MouseButtonRelease, placeOf(0), Qt::NoButton);
    EXPECT_EQ(value(0), "100");
    clickLine(1);
    drag(placeOf(1), {0, -30});
    key(Qt::Key_Up);
    EXPECT_EQ(value(1), "2");
    EXPECT_EQ(plot().chosenText(), "2: 2; p 2; read-only");
    EXPECT_FALSE(window().action(CommandId::kUndo)->isEnabled());
}

TEST_F(Curves, MoveAPointByKeysAsOneEditPerHold) {
    plot().setFocus();
    key(Qt::Key_Right);
    key(Qt::Key_Right);
    QTest::keyPress(&plot(), Qt::Key_Up);
    QTest::keyPress(&plot(), Qt::Key_Up); // repeated while held
    EXPECT_EQ(value(2), "140");
    EXPECT_EQ(plot().chosenText(),
              "3: 138 = -69.0 dB; gain 3; last known -70.0 dB; not permitted: -60.0 dB to -20.0 dB");
    QTest::keyRelease(&plot(), Qt::Key_Up);
    EXPECT_EQ(value(2), "138");
    key(Qt::Key_Minus);
    EXPECT_EQ(value(2), "139");
    run(CommandId::kUndo);
    run(CommandId::kUndo);
    EXPECT_EQ(value(2), "140");
}

TEST_F(Curves, StoreWhatWasTypedFirstAndNothingWhileAValueIsHeld) {
    type(1, "90");
    drag(placeOf(0), {0, 30});
    EXPECT_EQ(value(1), "90");
    EXPECT_NE(value(0), "100");
    const std::string kept = value(0);
    type(1, "300");
    drag(placeOf(0), {0, -30});
    EXPECT_EQ(value(0), kept) << "the edit would hide what is still to be decided";
    EXPECT_EQ(edit(1).text(), "300");
    key(Qt::Key_Escape);
    ReviewSwitch::setOn(false);
    type(1, "91");
    drag(placeOf(0), {0, -30});
    EXPECT_EQ(value(1), "91");
    EXPECT_NE(value(0), kept);
}

TEST_F(Curves, SayWhyThereAreNone) {
    clickLine(2);
    EXPECT_EQ(note(), "This item has no curve: that takes 4 or more values of one type that follow each other.");
    run(CommandId::kReadSupportedItems);
    ASSERT_TRUE(QTest::qWaitFor([&] { return listBox().model()->rowCount() == 6; }));
    clickLine(3);
    EXPECT_EQ(note(), "This item has no values yet.");
}

TEST_F(Curves, AreInTheUnitThatAllTheirPointsShareBesideWhatIsCompared) {
    clickLine(3);
    NvItem other = *doc().selectedItem();
    other.setData(std::string("1,9,3,4,5,6,7,-8"));
    pane().setCompared({[&](std::uint16_t number) { return number == 50 ? &other : nullptr; }, "bench.mox"});
    const auto& curves = plot().set().curves;
    ASSERT_EQ(curves.size(), 2U);
    EXPECT_EQ(curves[0].axis + ", " + curves[1].axis, "SIGNED BYTE, V") << "one of the first four has no unit";
    EXPECT_EQ(curves[0].name + ", " + curves[1].name, "up, down");
    EXPECT_DOUBLE_EQ(curves[0].points[1].compared.value_or(0), 9);
    EXPECT_DOUBLE_EQ(curves[1].points[3].value, 0.8);
    EXPECT_DOUBLE_EQ(curves[1].points[3].compared.value_or(0), -0.8);
    other = doc().nvItems()[0];
    pane().refresh();
    EXPECT_FALSE(plot().set().curves[0].points[0].compared) << "another layout";
}

TEST_F(Curves, ZoomWithABandAndAreWholeAgain) {
    const QPoint below = placeOf(1) + QPoint(-20, 60);
    drag(below, QPoint(60, -45));
    ASSERT_TRUE(plot().isZoomed());
    const AxisRange seen = plot().curves().view().across;
    EXPECT_GE(seen.span(), 0.5);
    EXPECT_LT(seen.span(), 1);
    key(Qt::Key_Home);
    key(Qt::Key_End);
    EXPECT_TRUE(plot().curves().plotArea().adjusted(-1, -1, 1, 1).contains(plot().curves().positionOf({0, 3})));
    key(Qt::Key_0);
    EXPECT_FALSE(plot().isZoomed());
    EXPECT_EQ(value(1), "120");
}

TEST_F(DocumentFixture, SavesCurvesAsPicturesOrSaysWhyNot) {
    open(kTables);
    listSupported();
    document->setSelectedIndex(0);
    document->storeItemData(0, "1,2,3,4,5");
    EditHistory history(*document);
    CurvePane pane(*document, history, ui, [] { return true; });
    pane.show();
    const auto save = [&](int format, const char* name) {
        ui.file = (folder / name).string();
        pane.findChild<QPushButton*>("curve_save")->menu()->actions()[format]->trigger();
        return ui.takeMessages();
    };
    EXPECT_EQ(save(0, "gain.svg"), "");
    QXmlStreamReader svg(QByteArray::fromStdString(readText(folder / "gain.svg")));
    QString texts;
    while (!svg.atEnd()) {
        texts += svg.readNext() == QXmlStreamReader::Characters ? svg.text().toString() : QString();
    }
    EXPECT_FALSE(svg.hasError());
    EXPECT_TRUE(texts.contains("10 NV_GAIN") && texts.contains("position")) << texts.toStdString();
    EXPECT_EQ(save(1, "gain.png"), "");
    EXPECT_EQ(QImage(QString::fromStdString(*ui.file)).size(), QSize(1920, 1080));
    EXPECT_EQ(ui.filesWritten.size(), 2U);
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::string pipe = (folder / "pipe").string();
    EXPECT_EQ(save(1, "pipe"), "(x) Save Curve: The picture could not be written to '" + pipe + "': Invalid argument.");
    EXPECT_EQ(ui.filesWritten.size(), 2U);
}

TEST_F(Curves, AreShownAgainInTheNextWindowWithTheirShare) {
    auto* split = frame().findChild<QSplitter*>("curve_splitter");
    split->setSizes({100, 300});
    emit split->splitterMoved(100, 1);
    const QList<int> sizes = split->sizes();
    run(CommandId::kNew);
    EXPECT_TRUE(pane().isVisible());
    EXPECT_EQ(frame().findChild<QSplitter*>("curve_splitter")->sizes(), sizes);
    run(CommandId::kCurve);
    EXPECT_FALSE(pane().isVisible());
    run(CommandId::kNew);
    EXPECT_EQ(frame().findChild<CurvePane*>(), nullptr);
}

} // namespace

// The window of packets.

#include "app/trace/TraceModel.h"
#include "app/trace/TraceWindow.h"
#include "tests/app/WindowFixture.h"

#include <QPlainTextEdit>
#include <QTableView>

namespace {

class Trace : public WindowFixture {
protected:
    ~Trace() override { app().setTraceSource({}); }

    void startRecorded() {
        const TraceSource source;
        app().setTraceSource(source);
        writeText(folder / "phone.nvmem", kPhone);
        tessra::ServiceConfig config = phonesOn({"COM1"});
        config.ports[0].initial = folder / "phone.nvmem";
        service = std::make_unique<HostedService>(config, source.recorder);
        start();
    }
    void open() {
        focusBack();
        run(CommandId::kTrace);
    }
    TraceWindow& trace() { return *window().findChild<TraceWindow*>(); }
    template <typename W>
    W& part(const char* name) {
        return *trace().findChild<W*>(name);
    }
    /// What is listed, without time and bytes; the counts behind it.
    std::string shown() {
        std::string text;
        const auto* model = part<QTableView>("trace_packets").model();
        for (int row = 0; row < model->rowCount(); ++row) {
            for (const int column : {TraceModel::kWay, TraceModel::kCommand, TraceModel::kItem, TraceModel::kStatus}) {
                text += model->index(row, column).data().toString().toStdString() + "|";
            }
        }
        return text + part<QLabel>("trace_counts").text().toStdString();
    }
    void filter(const QString& text) { part<QLineEdit>("trace_filter").setText(text); }
    void expectShown(const std::string& text) {
        EXPECT_TRUE(QTest::qWaitFor([&] { return shown() == text; })) << shown();
    }
};

TEST_F(Trace, ShowsFiltersPausesAndSavesPackets) {
    startRecorded();
    readPhone();
    open();
    expectShown("Recording. 0 packets.");
    readPhone();
    filter("40");
    expectShown("to phone|read|40||from phone|read|40|0|Recording. 8 packets, 2 of them shown.");
    filter("< READ status=0 com1 bytes=260A0");
    expectShown("from phone|read|10|0|Recording. 8 packets, 1 of them shown.");
    auto& table = part<QTableView>("trace_packets");
    table.selectRow(0);
    EXPECT_TRUE(part<QPlainTextEdit>("trace_bytes").toPlainText().startsWith("26 0a 00 05 fe ff 00"));
    part<QPushButton>("trace_pause").click();
    readPhone();
    expectShown("from phone|read|10|0|Paused: nothing is recorded. 8 packets, 1 of them shown.");
    part<QPushButton>("trace_pause").click();
    trace().close();
    readPhone();
    open();
    filter(">");
    expectShown("to phone|read|10||to phone|read|20||to phone|read|30||to phone|read|40||Recording. 8 packets, 4 of "
                "them shown.");
    chooseFile(path("s"));
    part<QPushButton>("trace_save").click();
    EXPECT_TRUE(QTest::qWaitFor([&] { return part<QLabel>("trace_message").text().startsWith("8 packets saved"); }));
    const std::string saved = readText(folder / "s.trc");
    EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 9) << "also those that the filter hides";
    part<QPushButton>("trace_clear").click();
    expectShown("Recording. 0 packets.");
}

TEST_F(Trace, KeepsTheLastPackets) {
    startRecorded();
    open();
    tessra::TraceBuffer::Batch batch;
    for (std::size_t count = 0; count < TraceModel::kMaxRecords + 1; ++count) {
        batch.records.push_back({.timeUs = static_cast<std::int64_t>(count), .port = "COM1", .bytes = {}});
        batch.records.back().way = count % 2 == 0 ? tessra::TraceWay::kToPhone : tessra::TraceWay::kFromPhone;
    }
    tessra::TraceRecord last = batch.records.back();
    batch.records.pop_back();
    auto& model = *trace().findChild<TraceModel*>();
    model.setFilter(PacketFilter("<"));
    model.append(std::move(batch));
    EXPECT_EQ(model.rowCount(), 50000);
    model.append({.records = {last}, .dropped = 7});
    const std::size_t cut = model.dropped() - 7;
    EXPECT_EQ(model.records().size(), TraceModel::kMaxRecords + 1 - cut);
    EXPECT_EQ(model.record(0).timeUs, static_cast<std::int64_t>(cut) | 1) << "rows and packets still belong together";
    model.setFilter({});
    EXPECT_EQ(model.record(0).timeUs, static_cast<std::int64_t>(cut));
}

} // namespace

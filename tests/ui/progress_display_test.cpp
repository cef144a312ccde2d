// The sync section's display of engine reports, and the log view, on the offscreen platform.
#include <QLabel>
#include <QProgressBar>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextEdit>
#include <QtTest>

#include "i18n/translator.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"

namespace tavrin {

namespace {

const QString kGreen = QStringLiteral("stop:0 #2f8f48, stop:1 #46bf6b");
const QString kBlue = QStringLiteral("stop:0 #1f74cf, stop:1 #33a6e3");

QProgressBar* Bar(const TavrinQtWindow& window) {
    return window.findChild<QProgressBar*>(QStringLiteral("SyncProgress"));
}

QString LabelText(const TavrinQtWindow& window, const char* name) {
    return window.findChild<QLabel*>(QString::fromLatin1(name))->text();
}

ProgressMessage Report(std::uint32_t done, std::uint32_t total, bool comparing) {
    ProgressMessage message;
    message.done = done;
    message.total = total;
    message.comparing = comparing;
    message.currentFile = L"content/cars/a.kn5";
    return message;
}

}  // namespace

class ProgressDisplayTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    void ATotalOfZeroShowsNoProgressAndTooManyFilesShowAFullBar() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.ShowProgress(Report(0, 0, true));
        QCOMPARE(Bar(window)->value(), 0);
        QCOMPARE(Bar(window)->maximum(), 100);
        window.ShowProgress(Report(7, 4, false));
        QCOMPARE(Bar(window)->value(), 100);
        window.ShowProgress(Report(1, 3, false));
        QCOMPARE(Bar(window)->value(), 33);
        QCOMPARE(LabelText(window, "CurrentFileLabel"),
                 QStringLiteral("Current file: content/cars/a.kn5"));
        QCOMPARE(LabelText(window, "BytesLabel"), QStringLiteral("Data: 0 B / 0 B (1/3 files)"));
        QCOMPARE(LabelText(window, "EtaLabel"), QStringLiteral("Time remaining: unknown"));
    }

    void ThePhasesSwitchColoursAndAnUnchangedPhaseIsNotReapplied() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.ShowProgress(Report(1, 10, true));
        QVERIFY(Bar(window)->styleSheet().contains(kGreen));
        QVERIFY(Bar(window)->styleSheet().startsWith(QStringLiteral(
            "QProgressBar{border:1px solid #536072;border-radius:6px;background:#1f252d;"
            "min-height:14px;}QProgressBar::chunk{border-radius:5px;background:")));
        Bar(window)->setStyleSheet(QStringLiteral("/* marker */"));
        window.ShowProgress(Report(2, 10, true));
        QCOMPARE(Bar(window)->styleSheet(), QStringLiteral("/* marker */"));
        window.ShowProgress(Report(0, 3, false));
        QVERIFY(Bar(window)->styleSheet().contains(kBlue));
        window.ShowProgress(Report(3, 10, true));
        QVERIFY(Bar(window)->styleSheet().contains(kGreen));
        window.SetProgressPhase(true, true);
        QVERIFY(Bar(window)->styleSheet().contains(kGreen));
    }

    void TheLogStampsEveryLineAndTheFirstHasNoEmptyLineAbove() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        auto* log = window.findChild<QTextEdit*>(QStringLiteral("LogView"));
        log->clear();
        window.AppendLog(QStringLiteral("first"), false);
        window.AppendLog(QStringLiteral("second"), true);
        window.AppendLog(QString::fromStdWString(L"\x1E!third"), false);
        const QStringList lines = log->toPlainText().split(QLatin1Char('\n'));
        QCOMPARE(lines.size(), 3);
        const QRegularExpression stamp(QStringLiteral("^\\[\\d\\d:\\d\\d:\\d\\d\\] "));
        QVERIFY2(stamp.match(lines[0]).hasMatch(), qPrintable(lines[0]));
        QVERIFY(lines[0].endsWith(QStringLiteral("] first")));
        QVERIFY(lines[2].endsWith(QStringLiteral("] third")));
        const auto weightOf = [log](int block) {
            return log->document()
                ->findBlockByNumber(block)
                .begin()
                .fragment()
                .charFormat()
                .fontWeight();
        };
        QCOMPARE(weightOf(0), static_cast<int>(QFont::Normal));
        QCOMPARE(weightOf(1), static_cast<int>(QFont::Bold));
        QCOMPARE(weightOf(2), static_cast<int>(QFont::Bold));
    }

    void ResettingBringsBackTheIdleTexts() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.ShowProgress(Report(5, 10, true));
        window.ResetProgress();
        QCOMPARE(Bar(window)->value(), 0);
        QVERIFY(Bar(window)->styleSheet().contains(kBlue));
        QCOMPARE(LabelText(window, "CurrentFileLabel"), QStringLiteral("Current file: none"));
        QCOMPARE(LabelText(window, "SpeedLabel"), QStringLiteral("Speed: –"));
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::ProgressDisplayTest)
#include "progress_display_test.moc"

// Two real starts of Tavrin.exe: the first holds the named mutex from the tray, a second
// start posts the wake-up message and ends with 0, and the first window comes forward. Also
// what the executable carries: the icon resource and the manifest.
#include <windows.h>

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QtTest>

#include "ui_sandbox.h"

namespace tavrin {

namespace {

constexpr int kStartMs = 30000;

QString ProgramPath() {
    return QDir::cleanPath(QCoreApplication::applicationDirPath() +
                           QStringLiteral("/" TAVRIN_EXE_RELATIVE));
}

bool MutexExists() {
    HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, L"Local\\Tavrin.SingleInstance");
    if (mutex == nullptr) {
        return false;
    }
    CloseHandle(mutex);
    return true;
}

// The shown top-level windows of a process at least `minimumWidth` wide.
QList<HWND> ShownWindows(DWORD process, int minimumWidth) {
    struct Search {
        DWORD process;
        int minimumWidth;
        QList<HWND> found;
    } search{process, minimumWidth, {}};
    EnumWindows(
        [](HWND window, LPARAM data) -> BOOL {
            auto* state = reinterpret_cast<Search*>(data);
            DWORD owner = 0;
            GetWindowThreadProcessId(window, &owner);
            RECT frame{};
            if (owner == state->process && IsWindowVisible(window) && !IsIconic(window) &&
                GetWindowRect(window, &frame) && frame.right - frame.left >= state->minimumWidth) {
                state->found << window;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

QString TitleOf(HWND window) {
    wchar_t title[256] = {};
    GetWindowTextW(window, title, 256);
    return QString::fromWCharArray(title);
}

// Tavrin.exe started in the sandbox's data folder; killed at the end if still running.
class Program {
public:
    explicit Program(const test::UiSandbox& sandbox) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TAVRIN_DATA_DIR"), sandbox.DataFolder());
        process_.setProcessEnvironment(environment);
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    ~Program() {
        if (process_.state() != QProcess::NotRunning) {
            process_.kill();
            process_.waitForFinished(kStartMs);
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    bool Start(const QStringList& arguments) {
        process_.start(ProgramPath(), arguments);
        return process_.waitForStarted(kStartMs);
    }
    QProcess& Process() { return process_; }
    DWORD Id() const { return static_cast<DWORD>(process_.processId()); }

private:
    QProcess process_;
};

}  // namespace

class InstanceWinTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(QFile::exists(ProgramPath()), qPrintable(ProgramPath()));
        QVERIFY2(!MutexExists(), "another Tavrin.exe is running in this session");
    }

    void ASecondStartWakesTheFirstAndEndsWithZero() {
        test::UiSandbox sandbox;
        Program first(sandbox);
        QVERIFY(first.Start({QStringLiteral("--start-in-tray")}));
        QTRY_VERIFY_WITH_TIMEOUT(MutexExists(), kStartMs);
        // The first start lives in the tray: no window is shown.
        QTest::qWait(1000);
        QVERIFY(ShownWindows(first.Id(), 500).isEmpty());
        QCOMPARE(first.Process().state(), QProcess::Running);

        Program second(sandbox);
        QVERIFY(second.Start({QStringLiteral("--start-in-tray")}));
        QVERIFY(second.Process().waitForFinished(kStartMs));
        QCOMPARE(second.Process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.Process().exitCode(), 0);

        QTRY_VERIFY_WITH_TIMEOUT(!ShownWindows(first.Id(), 500).isEmpty(), kStartMs);
        const HWND window = ShownWindows(first.Id(), 500).front();
        QCOMPARE(TitleOf(window), QStringLiteral("Tavrin"));
        QCOMPARE(first.Process().state(), QProcess::Running);
        QVERIFY(MutexExists());
    }

    void AStartAfterTheFirstEndedTakesTheMutexOver() {
        test::UiSandbox sandbox;
        {
            Program first(sandbox);
            QVERIFY(first.Start({}));
            QTRY_VERIFY_WITH_TIMEOUT(!ShownWindows(first.Id(), 500).isEmpty(), kStartMs);
            first.Process().kill();
            QVERIFY(first.Process().waitForFinished(kStartMs));
        }
        QTRY_VERIFY_WITH_TIMEOUT(!MutexExists(), kStartMs);
        Program next(sandbox);
        QVERIFY(next.Start({}));
        QTRY_VERIFY_WITH_TIMEOUT(!ShownWindows(next.Id(), 500).isEmpty(), kStartMs);
        QCOMPARE(next.Process().state(), QProcess::Running);
    }

    void TheExecutableCarriesItsIconAndAPerMonitorDpiManifest() {
        const std::wstring path = QDir::toNativeSeparators(ProgramPath()).toStdWString();
        HMODULE program = LoadLibraryExW(path.c_str(), nullptr,
                                         LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
        QVERIFY(program != nullptr);
        QVERIFY(FindResourceW(program, MAKEINTRESOURCEW(101), RT_GROUP_ICON) != nullptr);
        HRSRC manifestResource = FindResourceW(program, MAKEINTRESOURCEW(1), RT_MANIFEST);
        QVERIFY(manifestResource != nullptr);
        HGLOBAL loaded = LoadResource(program, manifestResource);
        const QByteArray manifest(
            static_cast<const char*>(LockResource(loaded)),
            static_cast<qsizetype>(SizeofResource(program, manifestResource)));
        FreeLibrary(program);
        QVERIFY(manifest.contains("<dpiAwareness"));
        QVERIFY(manifest.contains(">PerMonitorV2, PerMonitor</dpiAwareness>"));
        QVERIFY(manifest.contains(">true/pm</dpiAware>"));
    }
};

}  // namespace tavrin

QTEST_GUILESS_MAIN(tavrin::InstanceWinTest)
#include "instance_win_test.moc"

// The Run value written, read back through the registry itself and removed, in the current
// user's hive (a throwaway Wine prefix in the test run). Every case leaves the value removed.
#include <windows.h>

#include <QtTest>
#include <string>

#include "base/executable_directory.h"
#include "desktop/autostart.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "settings/settings_store.h"
#include "ui_sandbox.h"

namespace tavrin {

namespace {

constexpr const wchar_t* kRunKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr const wchar_t* kValueName = L"Tavrin";

// The Run value as the registry holds it, read without the toolkit; "<none>" when absent.
QString RunValue() {
    DWORD bytes = 0;
    LSTATUS status = RegGetValueW(HKEY_CURRENT_USER, kRunKey, kValueName, RRF_RT_REG_SZ, nullptr,
                                  nullptr, &bytes);
    if (status == ERROR_FILE_NOT_FOUND) {
        return QStringLiteral("<none>");
    }
    if (status != ERROR_SUCCESS) {
        return QStringLiteral("<error %1>").arg(status);
    }
    std::wstring text(bytes / sizeof(wchar_t), L'\0');
    status = RegGetValueW(HKEY_CURRENT_USER, kRunKey, kValueName, RRF_RT_REG_SZ, nullptr,
                          text.data(), &bytes);
    if (status != ERROR_SUCCESS) {
        return QStringLiteral("<error %1>").arg(status);
    }
    text.resize(wcsnlen(text.c_str(), text.size()));
    return QString::fromStdWString(text);
}

bool SetRunValue(const std::wstring& command) {
    return RegSetKeyValueW(HKEY_CURRENT_USER, kRunKey, kValueName, REG_SZ, command.c_str(),
                           static_cast<DWORD>((command.size() + 1) * sizeof(wchar_t))) ==
           ERROR_SUCCESS;
}

QString OwnPath() {
    return QString::fromStdWString(PathToWide(ExecutablePath()));
}

}  // namespace

class AutostartWinTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        SetLanguage("en");
        RegDeleteKeyValueW(HKEY_CURRENT_USER, kRunKey, kValueName);
    }
    void cleanup() { RegDeleteKeyValueW(HKEY_CURRENT_USER, kRunKey, kValueName); }

    void EnablingInWindowModeWritesOnlyTheQuotedPath() {
        test::UiSandbox sandbox;
        QString error;
        QVERIFY2(SetAutostart(true, AutostartMode::window, error), qPrintable(error));
        QCOMPARE(RunValue(), QLatin1Char('"') + OwnPath() + QLatin1Char('"'));
        QVERIFY(OwnPath().contains(QLatin1Char('\\')));
        QVERIFY(IsAutostartRegistered());
        QCOMPARE(QueryAutostart().mode, AutostartMode::window);
    }

    void EnablingInTrayModeAddsTheSwitch() {
        test::UiSandbox sandbox;
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::window, error));
        QVERIFY(SetAutostart(true, AutostartMode::tray, error));
        QCOMPARE(RunValue(), QLatin1Char('"') + OwnPath() + QStringLiteral("\" --start-in-tray"));
        QCOMPARE(RegisteredModeOr(AutostartMode::window), AutostartMode::tray);
    }

    void DisablingRemovesTheValueAndSucceedsWhenThereIsNone() {
        test::UiSandbox sandbox;
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::tray, error));
        QVERIFY(SetAutostart(false, AutostartMode::tray, error));
        QCOMPARE(RunValue(), QStringLiteral("<none>"));
        QVERIFY(SetAutostart(false, AutostartMode::tray, error));
        QVERIFY(!QueryAutostart().exists);
    }

    void AValueWrittenByHandIsReadWithEnvironmentAndCase() {
        test::UiSandbox sandbox;
        // Another tool may store the path in another case, or through a variable.
        const QString path = OwnPath();
        const qsizetype slash = path.lastIndexOf(QLatin1Char('\\'));
        SetEnvironmentVariableW(L"TAVRIN_TEST_FOLDER", path.left(slash).toStdWString().c_str());
        QVERIFY(SetRunValue(L"\"%TAVRIN_TEST_FOLDER%" + path.mid(slash).toUpper().toStdWString() +
                            L"\" --MINIMIZED-TO-TRAY"));
        QVERIFY(IsAutostartRegistered());
        QCOMPARE(QueryAutostart().mode, AutostartMode::tray);
    }

    void AValueForAnotherCopyIsNotRegisteredAndIsOverwritten() {
        test::UiSandbox sandbox;
        QVERIFY(SetRunValue(L"\"C:\\Program Files\\Other\\Tavrin.exe\" --start-in-tray"));
        QVERIFY(QueryAutostart().exists);
        QVERIFY(!IsAutostartRegistered());
        QCOMPARE(RegisteredModeOr(AutostartMode::window), AutostartMode::window);
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::window, error));
        QCOMPARE(RunValue(), QLatin1Char('"') + OwnPath() + QLatin1Char('"'));
    }

    void LoadingTakesTheModeOfTheRegisteredValue() {
        test::UiSandbox sandbox;
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::tray, error));
        sandbox.WriteSettings("[General]\nautostart_mode=window\n");
        SettingsRecord record;
        SettingsLoadHooks hooks;
        hooks.registeredModeOr = RegisteredModeOr;
        ReadSettingsFile(sandbox.SettingsFile(), record, hooks);
        QCOMPARE(record.autostartMode, AutostartMode::tray);
    }
};

}  // namespace tavrin

QTEST_GUILESS_MAIN(tavrin::AutostartWinTest)
#include "autostart_win_test.moc"

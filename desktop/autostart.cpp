#include "desktop/autostart.h"

#include "base/executable_directory.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

std::wstring OwnExecutable() {
    return PathToWide(ExecutablePath());
}

}  // namespace

AutostartState QueryAutostart() {
    return ReadAutostartCommand(ReadAutostartValue().toStdWString(), OwnExecutable());
}

bool IsAutostartRegistered() {
    const AutostartState state = QueryAutostart();
    return state.exists && state.parsed && state.matchesExecutable;
}

AutostartMode RegisteredModeOr(AutostartMode fallback) {
    const AutostartState state = QueryAutostart();
    return state.exists && state.parsed && state.matchesExecutable ? state.mode : fallback;
}

bool SetAutostart(bool enabled, AutostartMode mode, QString& errorText) {
    if (enabled) {
        const std::wstring executable = OwnExecutable();
        if (executable.empty() ||
            !WriteAutostartValue(QString::fromStdWString(AutostartCommandFor(executable, mode)))) {
            errorText = Text(AutostartTexts().writeFailed);
            return false;
        }
        const AutostartState state = QueryAutostart();
        if (!state.exists || !state.parsed || !state.matchesExecutable || state.mode != mode) {
            errorText = Text(AutostartTexts().verifyEnableFailed);
            return false;
        }
        return true;
    }
    if (!RemoveAutostartValue()) {
        errorText = Text(AutostartTexts().writeFailed);
        return false;
    }
    if (QueryAutostart().exists) {
        errorText = Text(AutostartTexts().verifyDisableFailed);
        return false;
    }
    return true;
}

}  // namespace tavrin

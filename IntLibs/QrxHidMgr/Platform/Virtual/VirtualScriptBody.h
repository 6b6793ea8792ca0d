#pragma once

#include "QrxVirtualScript.h"

#include "ScriptRules.h"

/// What a QrxVirtualScript holds.
struct QrxVirtualScript::Body {
    qrx::platform::script::Rules rules;
};

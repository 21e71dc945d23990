
// ---- Appended to every JScript test by tests/scripts/run: the check functions and the last line.

var checks, failures;

// The value must have this value and type.
function equal(what, actual, expected) {
    checks = (checks || 0) + 1;
    if (actual === expected) {
        return;
    }
    failures = (failures || 0) + 1;
    WScript.Echo("FAILED: " + what + ": " + typeof actual + " [" + actual + "] instead of " +
        typeof expected + " [" + expected + "]");
}

// The action must raise an error.
function raises(what, action) {
    var raised = false;
    try {
        action();
    } catch (error) {
        raised = true;
    }
    equal(what + " raises an error", raised, true);
}

if (failures) {
    WScript.Echo(failures + " of " + checks + " checks failed");
} else {
    WScript.Echo(checks + " checks passed");
}

// The 64-bit script host (cscript) creates each class of the installed module
// by its ProgID, versioned and not, and reads the MRU list through it.
// Prints a line per class, then PASS or FAIL last.
var names = ["Zantix.VelPhonebookControl", "Zantix.VelPhonebookControl2", "Zantix.MRUList", "Zantix.AddressBook"];
var failures = 0;
for (var i = 0; i < names.length; ++i) {
    var forms = [names[i], names[i] + ".1"];
    for (var j = 0; j < forms.length; ++j) {
        try {
            var object = new ActiveXObject(forms[j]);
            WScript.Echo("created " + forms[j]);
        } catch (e) {
            WScript.Echo("cannot create " + forms[j] + ": " + (e.number >>> 0).toString(16));
            ++failures;
        }
    }
}
try {
    new ActiveXObject("Zantix.MRUList").ReadMRU();
} catch (e) {
    WScript.Echo("ReadMRU failed: " + (e.number >>> 0).toString(16));
    ++failures;
}
WScript.Echo(failures ? "FAIL: " + failures : "PASS");

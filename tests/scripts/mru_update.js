// Records one sent fax through Zantix.MRUList by name, as a script host does:
//   cscript //nologo mru_update.js "Name 123;Other 456"    prints "OK" or "FAIL: reason"
try {
    var mru = new ActiveXObject("Zantix.MRUList");
    mru.Initialize();
    mru.UpdateMRU(WScript.Arguments(0));
    mru.Terminate();
    WScript.Echo("OK");
} catch (e) {
    WScript.Echo("FAIL: " + e.message + " (" + (e.number >>> 0).toString(16) + ")");
}

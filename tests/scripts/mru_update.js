// A script client: records one sent fax through Zantix.MRUList by name,
// the way a host written in a script language would. Prints "OK" or
// "FAIL: reason"; the caller checks the store.
//   cscript //nologo mru_update.js "Name 123;Other 456"
var list = WScript.Arguments.length > 0 ? WScript.Arguments(0) : "Script Sender 555-0142";
try {
    var mru = new ActiveXObject("Zantix.MRUList");
    mru.Initialize();
    mru.UpdateMRU(list);
    mru.Terminate();
    WScript.Echo("OK");
} catch (e) {
    WScript.Echo("FAIL: " + e.message + " (" + (e.number >>> 0).toString(16) + ")");
}

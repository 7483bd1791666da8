// A second program that changes Outlook's contacts by name, as a user's
// add-in or script would:
//   cscript outlook_change.js add NAME FAX      (prints the new EntryID)
//   cscript outlook_change.js change ENTRYID NAME
//   cscript outlook_change.js delete ENTRYID
// Prints "done MODE" when every call went through; a script error does not
// change cscript's exit code, so the caller looks for that line.
var args = WScript.Arguments;
var app = new ActiveXObject("Outlook.Application");
var ns = app.GetNamespace("MAPI");
var mode = args(0);
if (mode == "add") {
    var added = app.CreateItem(2);
    added.FullName = args(1);
    added.BusinessFaxNumber = args(2);
    added.Save();
    WScript.Echo(added.EntryID);
} else if (mode == "change") {
    var changed = ns.GetItemFromID(args(1));
    changed.FullName = args(2);
    changed.Save();
} else if (mode == "delete") {
    ns.GetItemFromID(args(1)).Delete();
}
WScript.Echo("done " + mode);

// Changes Outlook's contacts by name from a second program, as a user's add-in would:
//   cscript outlook_change.js add NAME FAX | change ENTRYID NAME | delete ENTRYID
// Prints the new EntryID (add), then "done MODE" when every call went through
// (a script error leaves cscript's exit code alone).
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

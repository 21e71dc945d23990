// JScript: the time zones that ten countries or more share. The same program as the others in this folder.
//
//     cscript //nologo zones.js ..\data\zones.tab shared.txt
//
// The first file is read, the second one written.

var MANY = 10;

// Calls `visit` for each element of a collection, as For Each does in VBScript.
function each(collection, visit) {
    for (var walk = new Enumerator(collection); !walk.atEnd(); walk.moveNext()) {
        visit(walk.item());
    }
}

// Read: one row a line, split at tabs.
var file = new ActiveXObject("Nuvolex.NXFileStream");
if (!file.Open(WScript.Arguments(0), false)) {
    WScript.Echo("cannot open " + WScript.Arguments(0));
    WScript.Quit(1);
}
var rows = new ActiveXObject("Nuvolex.NXTokenStringList");
while (!file.IsEOF()) {
    var line = file.ReadNextLine();
    if (!file.IsCommentLine(line)) { // begins with "#", or is empty like the one after the last line end
        var row = rows.AddNew(); // a new token string, which is in the list already
        row.Separator = "\t";
        row.Value = line;
    }
}

// Split the first column at commas, and collect the names in the third. row(0) is short for row.Token(0).
var codes = new ActiveXObject("Nuvolex.NXTokenString");
codes.Separator = ",";
var names = new ActiveXObject("Nuvolex.NXStringList");
each(rows, function (row) {
    codes.Value = row(0);
    if (codes.Count >= MANY) {
        names.Add(row(2));
    }
});
WScript.Echo(names.Count + " of " + rows.Count + " zones are shared by " + MANY + " countries or more:");
each(names, function (name) { WScript.Echo("  " + name); });

// A variant collection holds values of any type.
var facts = new ActiveXObject("Nuvolex.NXVariantCollection");
facts.Add(rows.Count);
facts.Add(names(0));
each(facts, function (fact) { WScript.Echo("fact: " + fact); });

// Indices count from 0, so this one is one too large. An error's number is negative; >>> 0 makes it unsigned.
try {
    names.Item(names.Count);
} catch (error) {
    WScript.Echo("error 0x" + (error.number >>> 0).toString(16) + ": " + error.message);
}

// Write: Open opens existing files only, Clear creates one (or empties it).
if (!file.Open(WScript.Arguments(1), false)) {
    WScript.Echo("a new file");
}
file.Clear();
file.Open(WScript.Arguments(1), false);
var written = 0;
each(names, function (name) { written += file.WriteLine(name) ? 1 : 0; });

// Read back. The extra empty line after the last line end is not counted.
file.Open(WScript.Arguments(1), false);
var found = 0;
while (!file.IsEOF()) {
    found += file.ReadNextLine() != "" ? 1 : 0;
}
file.Close();
WScript.Echo(written + " lines written, " + found + " read back");

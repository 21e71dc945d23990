// Joins tokens to a text: what time zones are there in each part of the world?
//
//     cscript //nologo zones.js [FILE]
//
// Without FILE it reads data\zones.tab beside this script: one zone a line, columns separated by tabs. The third column
// is the zone's name, such as Europe/Berlin or America/Argentina/Salta.

var SHORT = 12; // parts of the world with no more zones than this are listed in full

var fso = new ActiveXObject("Scripting.FileSystemObject");
var path = WScript.Arguments.length > 0
    ? WScript.Arguments(0)
    : fso.BuildPath(fso.GetParentFolderName(WScript.ScriptFullName), "data\\zones.tab");

var row = new ActiveXObject("Nuvolex.NXTokenString");
row.Separator = "\t";
var name = new ActiveXObject("Nuvolex.NXTokenString");
name.Separator = "/";

// Two lists side by side: the parts of the world, and for each of them a token string with the places in it.
var parts = new ActiveXObject("Nuvolex.NXStringList");
var places = new ActiveXObject("Nuvolex.NXTokenStringList");

// The token string for one part of the world; made when the part is new.
function placesIn(part) {
    for (var i = 0; i < parts.Count; ++i) {
        if (parts(i) == part) { // the default member: short for parts.Item(i)
            return places(i);
        }
    }
    parts.Item(i) = part; // i is one past the end now, and writing there appends
    var added = places.AddNew();
    added.Separator = ", ";
    added.MultiCharacter = true; // after Separator, which resets it; else the comma alone would join
    return added;
}

var zones = 0;
var file = new ActiveXObject("Nuvolex.NXFileStream");
if (!file.Open(path, false)) {
    WScript.Echo("cannot open " + path);
    WScript.Quit(1);
}
while (!file.IsEOF()) {
    var line = file.ReadNextLine();
    if (!file.IsCommentLine(line)) { // it begins with "#" or ";", or is blank
        row.Value = line;
        name.Value = row(2);
        placesIn(name(0)).Add(name(name.Count - 1));
        ++zones;
    }
}
file.Close();

// JScript walks a collection with an Enumerator; this one's elements are the objects in the list, not copies.
var i = 0;
for (var walk = new Enumerator(places); !walk.atEnd(); walk.moveNext()) {
    var inPart = walk.item();
    // Value joins the tokens with the separator.
    WScript.Echo(parts(i++) + ": " + inPart.Count + (inPart.Count <= SHORT ? ": " + inPart.Value : ""));
}

// The walk over a token string gives its tokens, as strings.
var longest = "";
for (var p = 0; p < places.Count; ++p) {
    for (var each = new Enumerator(places(p)); !each.atEnd(); each.moveNext()) {
        if (each.item().length > longest.length) {
            longest = each.item();
        }
    }
}
WScript.Echo("Longest name of a place: " + longest);

// Some script hosts end in silence when a script fails; the last line proves that this one ran to its end.
WScript.Echo("Done: " + zones + " zones in " + parts.Count + " parts of the world.");

// Deals out the lines of a file to several files that are open at the same time: the chemical elements by their state.
//
//     cscript //nologo split.js [FOLDER]
//
// Reads data\elements.txt beside this script, a table of fixed-width columns. Without FOLDER, the new files go to the
// folder for temporary files and are deleted at the end; those in FOLDER are kept, and must not exist yet.

var fso = new ActiveXObject("Scripting.FileSystemObject");
var keep = WScript.Arguments.length > 0;
var folder = keep ? WScript.Arguments(0) : fso.GetSpecialFolder(2).Path;
var prefix = keep ? "" : fso.GetTempName() + "-"; // a name that is not in use

function giveUp(reason) {
    WScript.Echo(reason);
    WScript.Quit(1);
}

// Two lists side by side: the states, and for each of them the file stream that it is written to.
var states = new ActiveXObject("Nuvolex.NXStringList");
var files = new ActiveXObject("Nuvolex.NXFileStreamList");

// The file for a state; made when the state is new.
function fileFor(state) {
    for (var i = 0; i < states.Count; ++i) {
        if (states(i) == state) { // the default member: short for states.Item(i)
            return files(i);
        }
    }
    states.Add(state);
    var added = files.AddNew(); // makes a file stream, appends it to the list and returns it

    // How to write a new file: Open fails, but the stream remembers the name; Clear creates the file of that name and
    // leaves it closed; Open works now.
    if (added.Open(fso.BuildPath(folder, prefix + state + ".txt"), false)) {
        giveUp(added.fileName + " exists already");
    }
    added.Clear();
    if (!added.Open(added.fileName, false)) {
        giveUp("cannot create " + added.fileName);
    }
    return added;
}

var source = new ActiveXObject("Nuvolex.NXFileStream");
if (!source.Open(fso.BuildPath(fso.GetParentFolderName(WScript.ScriptFullName), "data\\elements.txt"), false)) {
    giveUp("cannot open data\\elements.txt");
}
var line = new ActiveXObject("Nuvolex.NXString");
var part = new ActiveXObject("Nuvolex.NXString");
var elements = 0;
while (!source.IsEOF()) {
    line.Value = source.ReadNextLine();
    if (line.Length > 0) { // after the last line end there is one more line, which is empty
        part.Value = line.Mid(28, 6); // the state; blank for an element of which too little has been seen
        part.Trim();
        fileFor(part.Length > 0 ? part.Value : "unknown").WriteLine(line.Value);
        ++elements;
    }
}
source.Close();

// Read the files back. To begin at the beginning, open the file again.
var readBack = 0;
for (var walk = new Enumerator(files), i = 0; !walk.atEnd(); walk.moveNext(), ++i) {
    var file = walk.item(); // the object in the list, not a copy
    var first = "";
    var count = 0;
    file.Open(file.fileName, false);
    while (!file.IsEOF()) {
        line.Value = file.ReadNextLine();
        if (line.Length > 0) {
            part.Value = line.Mid(7, 13);
            part.Trim();
            first = first == "" ? part.Value : first;
            ++count;
        }
    }
    file.Close(); // a file cannot be deleted while it is open
    if (!keep) {
        fso.DeleteFile(file.fileName);
    }
    WScript.Echo(states(i) + ".txt: " + count + " elements, the first is " + first);
    readBack += count;
}

// Some script hosts end in silence when a script fails; the last line proves that this one ran to its end.
WScript.Echo("Done: " + elements + " elements written to " + files.Count + " files, " + readBack + " read back.");

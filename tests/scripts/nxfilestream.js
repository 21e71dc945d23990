// NXFileStream in JScript.

var files = new ActiveXObject("Scripting.FileSystemObject");
var stream = new ActiveXObject("Nuvolex.NXFileStream");

function bytesOf(name) {
    if (files.GetFile(name).Size === 0) {
        return "";
    }
    var reader = files.OpenTextFile(name);
    var bytes = reader.ReadAll();
    reader.Close();
    return bytes;
}

function makeFile(name, bytes) {
    var writer = files.CreateTextFile(name, true);
    writer.Write(bytes);
    writer.Close();
}

// ---- A new stream is closed and has no name

equal("IsOpen of a new object", stream.IsOpen(), false);
equal("IsEOF of a new object", stream.IsEOF(), true);
equal("name of a new object", stream.fileName, "");
equal("line of a new object", stream.ReadNextLine(), "");
equal("Close gives nothing", stream.Close(), undefined);
equal("Clear gives nothing", stream.Clear(), undefined);

// ---- A new file: open fails and keeps the name, Clear creates the file

equal("Open of a missing file", stream.Open("new.txt", false), false);
equal("it was not created", files.FileExists("new.txt"), false);
equal("its name is kept", stream.fileName, "new.txt");
stream.Clear();
equal("Open of the new file", stream.Open("new.txt", false), true);
equal("WriteLine", stream.WriteLine("first"), true);
stream.WriteLine("");
stream.WriteLine(42);
equal("Flush", stream.Flush(), true);
stream.Close();
equal("what was written", bytesOf("new.txt"), "first\r\n\r\n42\r\n");

// ---- Text in the system's code page: one byte per letter here

stream.Clear();
stream.Open("new.txt", false);
stream.WriteLine("\u00e4\u20ac\u4e2d");
stream.Open("new.txt", false);
equal("letters inside and outside the code page", stream.ReadNextLine(), "\u00e4\u20ac?");
equal("size of the file", files.GetFile("new.txt").Size, 5);

// ---- Reading in both modes

makeFile("lines.txt", "# comment\r\none\ntwo\r\n");
function readAll(binary) {
    var all = [];
    stream.Open("lines.txt", binary);
    while (!stream.IsEOF()) {
        all.push(stream.ReadNextLine());
    }
    return all.join("|");
}
equal("lines in text mode", readAll(false), "# comment|one|two|");
equal("lines in binary mode", readAll(true), "# comment\r|one|two\r|");
equal("any number but 0 is binary", readAll(-3), "# comment\r|one|two\r|");
equal("0 is text", readAll(0), "# comment|one|two|");
equal("a comment line", stream.IsCommentLine("# comment"), true);
equal("no comment line", stream.IsCommentLine("one"), false);

// ---- Stepping back

stream.Open("lines.txt", false);
equal("a line", stream.ReadNextLine(), "# comment");
equal("UngetLine", stream.UngetLine(), true);
equal("the line again", stream.ReadNextLine(), "# comment");
stream.Close();
equal("the line read last stays after Close", stream.ReadNextLine(), "# comment");
equal("UngetLine when closed", stream.UngetLine(), false);

// ---- Lines of odd lengths are read in pieces

function line(length) {
    var text = "";
    while (text.length < length) {
        text += "x";
    }
    return text;
}
makeFile("lines.txt", line(126) + "\r\n" + line(127) + "\r\nnext\r\n" + line(128) + "\r\nnever\r\n");
stream.Open("lines.txt", false);
equal("126 characters", stream.ReadNextLine(), line(126));
equal("127 characters are joined with the next line", stream.ReadNextLine(), line(127) + "next");
equal("128 characters are cut", stream.ReadNextLine(), line(127));
equal("and nothing more is read", stream.ReadNextLine(), "");
equal("before the end", stream.IsEOF(), false);
stream.Close();

// ---- The script owns its lines

var kept = [];
makeFile("lines.txt", "one\r\ntwo");
stream.Open("lines.txt", false);
kept.push(stream.ReadNextLine(), stream.ReadNextLine());
for (var i = 0; i < 10000; ++i) {
    kept.push(stream.ReadNextLine());
}
stream.Clear();
stream = null;
CollectGarbage();
equal("10002 lines outlive their stream", kept.length, 10002);
equal("the first of them", kept[0], "one");
equal("the last of them", kept[10001], "two");

// ---- An error between Open and Close keeps the data, and releasing the stream closes the file

function failsInTheMiddle() {
    var stream = new ActiveXObject("Nuvolex.NXFileStream");
    stream.Open("lines.txt", false);
    stream.WriteLine("last words");
    raises("DeleteFile of an open file", function () { files.DeleteFile("lines.txt"); });
    throw new Error("in the middle");
}
raises("the error in the middle", failsInTheMiddle);
CollectGarbage();
equal("the file is whole", bytesOf("lines.txt"), "last words\r\n");
files.DeleteFile("lines.txt");
equal("and it can be deleted", files.FileExists("lines.txt"), false);

// ---- Wrong use raises an error and changes nothing

stream = new ActiveXObject("Nuvolex.NXFileStream");
stream.Open("new.txt", false);
raises("Open without a mode", function () { stream.Open("x"); });
raises("Open of null", function () { stream.Open(null, false); });
raises("null written", function () { stream.WriteLine(null); });
raises("WriteLine without a line", function () { stream.WriteLine(); });
raises("Close with an argument", function () { stream.Close(1); });
raises("a written name", function () { stream.fileName = "x"; });
equal("name after all that", stream.fileName, "new.txt");
equal("size after all that", files.GetFile("new.txt").Size, 5);

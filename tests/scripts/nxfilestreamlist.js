// NXFileStreamList in JScript.

var files = new ActiveXObject("Scripting.FileSystemObject");
var list = new ActiveXObject("Nuvolex.NXFileStreamList");
equal("count of a new list", list.Count, 0);

function openNew(stream, name) {
    stream.Open(name, false);
    stream.Clear();
    stream.Open(name, false);
    return stream;
}

// Whether the file is open.
function isInUse(name) {
    try {
        files.MoveFile(name, name + ".moved");
    } catch (error) {
        return true;
    }
    files.MoveFile(name + ".moved", name);
    return false;
}

// ---- Filling

var stream = openNew(new ActiveXObject("Nuvolex.NXFileStream"), "0.txt");
list.Add(stream);
openNew(list.New, "1.txt");
openNew(list.AddNew(), "2.txt");
list.New = stream;
list.AddNew();
equal("count", list.Count, 5);
equal("the entry of an added stream", list.Item(0).fileName, "0.txt");
equal("of one that New gave", list.Item(1).fileName, "1.txt");
equal("of one that AddNew gave", list(2).fileName, "2.txt");
equal("of one written to New, by the default member", list(3).fileName, "0.txt");
equal("of an unused one", list(4).fileName, "");
equal("an entry is the same object", list(3).WriteLine("through the list") && stream.UngetLine(), true);

// ---- A file is open as long as its stream

equal("a file whose stream is in the list", isInUse("1.txt"), true);
list.Remove(1);
CollectGarbage();
equal("after Remove", isInUse("1.txt"), false);
list.Item(1) = stream;
CollectGarbage();
equal("after a replacement", isInUse("2.txt"), false);
equal("what replaced it", list(1).fileName, "0.txt");
equal("it is the same object", list(1) === stream, true);
equal("the last entry is another one", list(list.Count - 1) === stream, false);
list = null;
CollectGarbage();
equal("a stream outlives its list", stream.WriteLine("alive"), true);
stream = null;
CollectGarbage();
equal("and closes its file in the end", isInUse("0.txt"), false);

// ---- An invalid index raises an error and changes nothing

list = new ActiveXObject("Nuvolex.NXFileStreamList");
list.AddNew();
raises("Item past the end", function () { list.Item(1); });
raises("a negative index", function () { list.Item(-1); });
raises("the default member past the end", function () { list(1); });
raises("a write past the end", function () { list.Item(1) = list(0); });
raises("Remove past the end", function () { list.Remove(1); });
raises("text added", function () { list.Add("text"); });
raises("null written", function () { list.Item(0) = null; });
raises("an object of another class written", function () {
    list.Item(0) = new ActiveXObject("Nuvolex.NXTokenString");
});
equal("count after all that", list.Count, 1);

// ---- Enumeration (last, since the Enumerator of some engines never releases its collection)

openNew(list(0), "3.txt");
list.Add(list(0));
list.AddNew();
var names = [];
for (var walk = new Enumerator(list); !walk.atEnd(); walk.moveNext()) {
    names.push(walk.item().fileName + ":" + walk.item().IsOpen());
}
equal("Enumerator", names.join(";"), "3.txt:true;3.txt:true;:false");

// ---- AddNew as a statement, many times

list = new ActiveXObject("Nuvolex.NXFileStreamList");
for (var i = 0; i < 10000; ++i) {
    list.AddNew();
    list(i).Open("missing " + i, false);
}
CollectGarbage();
equal("10000 statements", list.Count, 10000);
var alive = 0;
for (walk = new Enumerator(list); !walk.atEnd(); walk.moveNext()) {
    alive += walk.item().fileName === "missing " + alive ? 1 : 0;
}
equal("every entry is alive", alive, 10000);

// NXStringList in JScript.

var list = new ActiveXObject("Nuvolex.NXStringList");
equal("count of a new list", list.Count, 0);

// All elements of an Enumerator.
function all() {
    var texts = "";
    for (var walk = new Enumerator(list); !walk.atEnd(); walk.moveNext()) {
        texts += walk.item() + ";";
    }
    return texts;
}

// ---- Filling

equal("Enumerator over nothing", all(), "");
equal("Add gives nothing", list.Add("first"), undefined);
list.New = "second";
list.Item(2) = "third";
equal("count", list.Count, 3);
equal("first", list.Item(0), "first");
equal("third, by the default member", list(2), "third");
equal("New reads nothing", list.New, "");
list.Item(1) = "2nd";
equal("Enumerator", all(), "first;2nd;third;");

// ---- A property read as a statement is harmless

list.Item(0);
list.Count;
list.New;
equal("count after reads as statements", list.Count, 3);

// ---- Removing

list.Remove(0);
equal("after Remove", all(), "2nd;third;");
list.Remove(1);
list.Remove(0);
equal("count of the emptied list", list.Count, 0);

// ---- Strings

list.Add("\u4e2d\u00e4\u20ac\ud83d\ude00");
equal("letters from anywhere", list.Item(0), "\u4e2d\u00e4\u20ac\ud83d\ude00");
list.Add("ab\0cd");
equal("a string ends at a NUL", list.Item(1), "ab");
list.Add(42);
equal("a number added", list.Item(2), "42");

// ---- A null string behaves as an empty string

var mixed = list;
list = new ActiveXObject("Nuvolex.NXStringList");
equal("type of New, which is always null", typeof list.New, "string");
equal("New and text", list.New + "x", "x");
list.Add(list.New);
list.Add(new ActiveXObject("Nuvolex.NXString").Value);
list.Add("last");
equal("an entry made of a null string", list.Item(0), "");
equal("its length", list(0).length, 0);
equal("the entry and text", list(1) + "x", "x");
equal("Enumerator with such entries", all(), ";;last;");
list = mixed;

// ---- An invalid index raises an error and changes nothing

raises("Item past the end", function () { list.Item(3); });
raises("a negative index", function () { list.Item(-1); });
raises("the default member past the end", function () { list(3); });
raises("Remove past the end", function () { list.Remove(3); });
raises("a write beyond Count", function () { list.Item(4) = "x"; });
raises("no index", function () { list.Item(); });
var message = "";
try {
    list.Remove(-1);
} catch (error) {
    message = error.message;
}
equal("message", message, "Index out of bounds!");
equal("count after all that", list.Count, 3);

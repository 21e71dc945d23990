// NXVariantCollection in JScript.

var values = new ActiveXObject("Nuvolex.NXVariantCollection");
equal("count of a new collection", values.Count, 0);

// All elements of an Enumerator.
function all() {
    var texts = "";
    for (var walk = new Enumerator(values); !walk.atEnd(); walk.moveNext()) {
        texts += walk.item() + ";";
    }
    return texts;
}

equal("Enumerator over nothing", all(), "");
values.Remove();
equal("count after Remove of nothing", values.Count, 0);

// ---- Positions

equal("Add gives nothing", values.Add(1), undefined);
values.Add(2);
values.Add(3, 0);
equal("appended", all(), "1;2;3;");
values.Add(9, 2);
equal("inserted at 2", all(), "1;9;2;3;");
values.Add(7, 4);
equal("inserted at the count", all(), "1;9;2;7;3;");
equal("first", values.Item(1), 1);
equal("last, by the default member", values(5), 3);
values.Remove(1);
values.Remove();
values.Remove(0);
equal("removed", all(), "9;2;");
values.Item(1);
values.Count;
equal("count after reads as statements", values.Count, 2);

// ---- An invalid position or index raises an error and changes nothing

function failure(action) {
    try {
        action();
    } catch (error) {
        return error.message + " " + error.number;
    }
    return "none";
}

var outOfBounds = "Index out of bounds! " + (0x80004005 | 0);
var invalid = "Position invalid! " + (0x80004005 | 0);
equal("Add past the end", failure(function () { values.Add(5, 3); }), invalid);
equal("Add at -1", failure(function () { values.Add(5, -1); }), invalid);
equal("Remove past the end", failure(function () { values.Remove(3); }), outOfBounds);
equal("Remove of -1", failure(function () { values.Remove(-1); }), outOfBounds);
equal("Item 0", failure(function () { values.Item(0); }), outOfBounds);
equal("Item past the end", failure(function () { values.Item(3); }), outOfBounds);
equal("the default member at -1", failure(function () { values(-1); }), outOfBounds);
raises("Item without a number", function () { values.Item(); });
raises("Add of nothing", function () { values.Add(); });
raises("Add of too much", function () { values.Add(1, 0, 0); });
raises("Add with text as position", function () { values.Add(1, "x"); });
raises("a written element", function () { values.Item(1) = 5; });
equal("after all that", all(), "9;2;");

// ---- Values of every kind, after their variables are cleared

function added(value) {
    values = new ActiveXObject("Nuvolex.NXVariantCollection");
    values.Add(value);
    value = null;
    CollectGarbage();
    return values(1);
}

equal("a number", added(42), 42);
equal("a real number", added(0.1), 0.1);
equal("a large number", added(1e300), 1e300);
equal("true", added(true), true);
equal("false", added(false), false);
equal("undefined", added(undefined), undefined);
equal("null", added(null), null);
equal("a text", added("te" + "xt"), "text");
equal("a text of length zero", added(""), "");
equal("a text with a NUL", added("ab\0cd"), "ab\0cd");
equal("letters from anywhere", added("\u4e2d\u00e4\u20ac\ud83d\ude00"), "\u4e2d\u00e4\u20ac\ud83d\ude00");
equal("an object", added({ name: "value" }).name, "value");
equal("an array", added([1, "two", [3]]).length, 3);
equal("its text", values(1)[1], "two");
equal("a function", added(function () { return "called"; })(), "called");
equal("a date", added(new Date(5)).getTime(), 5);
equal("an object of the library", added(new ActiveXObject("Nuvolex.NXString")).Length, 0);

// JScript's own objects: the collection refers to them.
var array = [1, 2];
values.Add(array);
array[0] = "seen";
equal("a change of an array", values(2)[0], "seen");

// ---- The current value of a variable is copied

var text = "before";
values = new ActiveXObject("Nuvolex.NXVariantCollection");
values.Add(text);
text = "after";
equal("a variable", values(1), "before");

// ---- Objects outlive the collection

values.Add({ name: "outlives" });
var kept = values(2);
values = new ActiveXObject("Nuvolex.NXVariantCollection");
CollectGarbage();
equal("an element of a collection that is gone", kept.name, "outlives");

// ---- An Enumerator while the collection changes

values.Add(1);
values.Add(2);
values.Add(3);
var seen = "";
for (var walk = new Enumerator(values); !walk.atEnd(); walk.moveNext()) {
    if (walk.item() === 2) {
        values.Remove(1);
        values.Add(4);
    }
    seen += walk.item() + ";";
}
equal("what it delivers", seen, "1;2;4;");
values = null;
walk.moveFirst();
CollectGarbage();
equal("the collection lives with it", walk.item(), 2);

// ---- Many

values = new ActiveXObject("Nuvolex.NXVariantCollection");
for (var i = 0; i < 2500; ++i) {
    values.Add(i);
    values.Add("text " + i);
    values.Add([i, "text"], 1);
    values.Add({ name: i }, 2);
}
CollectGarbage();
equal("10000 values", values.Count, 10000);
equal("the last", values(10000), "text 2499");
while (values.Count > 0) {
    values.Remove();
}
equal("all removed", values.Count, 0);

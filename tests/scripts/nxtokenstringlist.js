// NXTokenStringList in JScript.

var list = new ActiveXObject("Nuvolex.NXTokenStringList");
equal("count of a new list", list.Count, 0);

// ---- Filling

var tokens = new ActiveXObject("Nuvolex.NXTokenString");
list.Add(tokens);
tokens.Value = "changed";
equal("changes are seen through the list", list.Item(0).Value, "changed");
equal("by the default member too", list(0).Value, "changed");

var created = list.New;
created.Value = "new";
equal("what New gave is the entry", list.Item(1).Value, "new");
created = list.AddNew();
created.Value = "add new";
equal("what AddNew gave is the entry", list.Item(2).Value, "add new");
list.New = tokens;
equal("count", list.Count, 4);

// ---- Enumeration

var texts = "";
for (var walk = new Enumerator(list); !walk.atEnd(); walk.moveNext()) {
    texts += walk.item().Value + ";";
}
equal("Enumerator", texts, "changed;new;add new;changed;");

// ---- Removing

list.Remove(2);
equal("a removed object lives on", created.Value, "add new");
equal("count after Remove", list.Count, 3);

// ---- Replacing

var other = new ActiveXObject("Nuvolex.NXTokenStringList");
var replaced = other.AddNew();
replaced.Value = "replaced";
other.Item(0) = tokens;
equal("an object written replaces the entry", other(0) === tokens, true);
equal("which is another one", other(0) === replaced, false);
equal("count after a replacement", other.Count, 1);
equal("the replaced object stays alive in its variable", replaced.Value, "replaced");
other.Item(1) = replaced;
equal("a write at index Count appends", other(1) === replaced, true);
equal("count after all writes", other.Count, 2);

// ---- Objects outlive their lists

function entryOfAListThatGoes() {
    return new ActiveXObject("Nuvolex.NXTokenStringList").AddNew();
}
created = entryOfAListThatGoes();
CollectGarbage();
created.Value = "outlives";
equal("an entry of a list that is gone", created.Value, "outlives");

// ---- An invalid index raises an error and changes nothing

raises("Item past the end", function () { list.Item(3); });
raises("a negative index", function () { list.Item(-1); });
raises("the default member past the end", function () { list(3); });
raises("Remove past the end", function () { list.Remove(3); });
raises("text added", function () { list.Add("text"); });
raises("a write past index Count", function () { list.Item(4) = tokens; });
raises("null written", function () { list.Item(0) = null; });
raises("an object of another class written", function () {
    list.Item(0) = new ActiveXObject("Nuvolex.NXString");
});
equal("the entry after a failed write", list(0) === tokens, true);
equal("count after all that", list.Count, 3);

// ---- AddNew as a statement, many times

list = new ActiveXObject("Nuvolex.NXTokenStringList");
for (var i = 0; i < 10000; ++i) {
    list.AddNew();
    list(i).Value = "tokens " + i;
}
CollectGarbage();
equal("10000 statements", list.Count, 10000);
var alive = 0;
for (walk = new Enumerator(list); !walk.atEnd(); walk.moveNext()) {
    alive += walk.item().Value === "tokens " + alive ? 1 : 0;
}
equal("every entry is alive", alive, 10000);

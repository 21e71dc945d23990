// A client for tools/soak: uses all classes from JScript until there is a file "stop" in the current folder. Prints the
// number of rounds from time to time, and at the end "Done: N rounds".
//
// Reads collections by index, since Wine 8's Enumerator leaks with any collection.

var fso = new ActiveXObject("Scripting.FileSystemObject");

function equal(what, actual, expected) {
    if (actual !== expected) {
        WScript.Echo("FAILED: " + what + ": " + typeof actual + " [" + actual + "] instead of [" + expected + "]");
        WScript.Quit(1);
    }
}

function useString(number) {
    var text = new ActiveXObject("Nuvolex.NXString");
    text.Value = "  round " + number + "  ";
    equal("TrimLeft", text.TrimLeft(), 2);
    equal("TrimRight", text.TrimRight(), 2);
    equal("Right", text.Right(String(number).length), String(number));
    equal("Mid", text.Mid(0, 5), "round");
}

function useStringList(number) {
    var list = new ActiveXObject("Nuvolex.NXStringList");
    for (var i = 0; i < 20; ++i) {
        list.Add(number + i);
    }
    list.Remove(0);
    equal("string", list(0), String(number + 1));
    var all = "";
    for (i = 0; i < list.Count; ++i) {
        all += list.Item(i) - number + ";";
    }
    equal("strings", all, "1;2;3;4;5;6;7;8;9;10;11;12;13;14;15;16;17;18;19;");
    try {
        list.Remove(19);
        equal("Remove", "no error", "error");
    } catch (error) {
        equal("index error", error.message, "Index out of bounds!");
    }
}

function useTokenString(number) {
    var tokens = new ActiveXObject("Nuvolex.NXTokenString");
    tokens.Separator = "::";
    tokens.MultiCharacter = true;
    tokens.Value = "a::" + number + "::c";
    equal("token", tokens.Token(1), String(number));
    tokens.Add("d");
    equal("joined", tokens.Value, "a::" + number + "::c::d");
    var all = "";
    for (var i = 0; i < tokens.Count; ++i) {
        all += tokens(i);
    }
    equal("tokens", all, "a" + number + "cd");
}

function useFiles(number) {
    var list = new ActiveXObject("Nuvolex.NXFileStreamList");
    var stream = list.New;
    stream.Open("js.txt", false);
    stream.Clear();
    equal("Open", stream.Open("js.txt", false), true);
    for (var i = 0; i < 10; ++i) {
        stream.WriteLine(number + "/" + i);
    }
    stream.Open("js.txt", false);
    equal("first line", stream.ReadNextLine(), number + "/0");
    equal("UngetLine", stream.UngetLine(), true);
    var count = 0;
    while (!stream.IsEOF()) {
        stream.ReadNextLine();
        ++count;
    }
    equal("lines", count, 11);
    equal("missing file", list.AddNew().Open("no such folder\\js.txt", false), false);
}

function useTokenStringList(number) {
    var list = new ActiveXObject("Nuvolex.NXTokenStringList");
    list.AddNew().Value = "first";
    list.Add(list(0));
    list.New.Value = String(number);
    var all = "";
    for (var i = 0; i < list.Count; ++i) {
        all += list(i).Value + ";";
    }
    equal("token strings", all, "first;first;" + number + ";");
}

function useVariantCollection(number) {
    var values = new ActiveXObject("Nuvolex.NXVariantCollection");
    values.Add(number);
    values.Add("text", 0);
    values.Add({ member: number });
    values.Add([1, 2, 3]);
    equal("member of an object", values.Item(3).member, number);
    equal("length of an array", values(4).length, 3);
    values.Remove(1);
    var kinds = "";
    for (var i = 1; i <= values.Count; ++i) {
        kinds += typeof values.Item(i) + ";";
    }
    equal("kinds of values", kinds, "string;object;object;");
}

var rounds = 0;
do {
    ++rounds;
    try {
        useString(rounds);
        useStringList(rounds);
        useTokenString(rounds);
        useFiles(rounds);
        useTokenStringList(rounds);
        useVariantCollection(rounds);
    } catch (error) {
        equal("error", error.message + " (" + error.number + ")", "none");
    }
    if (rounds % 50 === 0) {
        WScript.Echo(rounds + " rounds");
        CollectGarbage();
    }
} while (rounds % 50 !== 0 || !fso.FileExists("stop"));
WScript.Echo("Done: " + rounds + " rounds");

// NXTokenString in JScript.

var tokens = new ActiveXObject("Nuvolex.NXTokenString");
equal("count of a new object", tokens.Count, 0);
equal("value of a new object", tokens.Value, "");
equal("separator of a new object", tokens.Separator, "");
equal("mode of a new object", tokens.MultiCharacter, false);

// ---- Splitting and joining

tokens.Separator = ";,";
tokens.Value = "a;b,c";
equal("count", tokens.Count, 3);
equal("token", tokens.Token(1), "b");
equal("token, by the default member", tokens(2), "c");
equal("value", tokens.Value, "a;b;c");
tokens.MultiCharacter = true;
equal("mode", tokens.MultiCharacter, true);
tokens.Value = "a;,b;c";
equal("count with the separator as one text", tokens.Count, 2);
equal("token with the separator as one text", tokens.Token(1), "b;c");
tokens.Separator = ";,";
equal("a written separator resets the mode", tokens.MultiCharacter, false);

// ---- Enumeration

var texts = "";
for (var walk = new Enumerator(tokens); !walk.atEnd(); walk.moveNext()) {
    texts += walk.item() + "|";
}
equal("Enumerator", texts, "a||b|c|");

// ---- Add

equal("Add gives nothing", tokens.Add("p;q"), undefined);
equal("an added token is one", tokens.Count, 5);
equal("unsplit", tokens.Token(4), "p;q");

// ---- A property read as a statement is harmless

tokens.Value;
tokens.Token(0);
equal("count after reads as statements", tokens.Count, 5);

// ---- An invalid index raises an error

raises("a token past the end", function () { tokens.Token(5); });
raises("a negative index", function () { tokens.Token(-1); });
raises("null written", function () { tokens.Value = null; });
var message = "";
try {
    tokens.Token(99);
} catch (error) {
    message = error.message;
}
equal("message", message, "Index out of bounds!");

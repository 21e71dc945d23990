// NXString in JScript.

// ---- Created by either ProgID

var text = new ActiveXObject("Nuvolex.NXString");
var versioned = new ActiveXObject("Nuvolex.NXString.1");
equal("kind of value", typeof text, "object");
equal("WScript's way to create", WScript.CreateObject("Nuvolex.NXString").Length, 0);

// ---- A new object is empty

equal("value of a new object", text.Value, "");
equal("length of a new object", text.Length, 0);

// ---- The null string of a new object behaves as an empty string

equal("type of a null string", typeof versioned.Value, "string");
equal("a null string is not null", versioned.Value === null, false);
equal("it is false", versioned.Value ? true : false, false);
equal("it equals another null string", versioned.Value === text.Value, true);
equal("JScript's length of a null string", versioned.Value.length, 0);
equal("a null string and text", versioned.Value + "x", "x");
equal("text and a null string", "x" + versioned.Value, "x");
equal("toUpperCase of a null string", versioned.Value.toUpperCase(), "");
equal("indexOf in a null string", versioned.Value.indexOf("x"), -1);
equal("a null string as a property's name", { "": "found" }[versioned.Value], "found");
text.Value = "overwritten";
text.Value = versioned.Value;
equal("a null string written", text.Value, "");
equal("length after a null string was written", text.Length, 0);
equal("a part of a null string", text.Left(3) + "x", "x");
text.Value = "";
equal("an empty string written", text.Value + "x", "x");
equal("it equals a null string", text.Value === versioned.Value, true);

// ---- Value and length

text.Value = "Nuvolex";
equal("value", text.Value, "Nuvolex");
equal("length", text.Length, 7);
equal("other object's value", versioned.Value, "");
text.Value += "!";
equal("value appended to", text.Value, "Nuvolex!");
text.Value = "\u4e2d\u00e4\u20ac\ud83d\ude00";
equal("value of letters from anywhere", text.Value, "\u4e2d\u00e4\u20ac\ud83d\ude00");
equal("length counts code units", text.Length, 5);
text.Value = "ab\0cd";
equal("value ends at a NUL", text.Value, "ab");
equal("length ends at a NUL", text.Length, 2);

// ---- Other types become text

text.Value = 42;
equal("a number written", text.Value, "42");
text.Value = undefined;
equal("undefined written", text.Value, "");

// ---- A property read as a statement is harmless

text.Value = "kept";
text.Value;
text.Length;
equal("value after reads as statements", text.Value, "kept");
equal("a property read like a method", text.Value(), "kept");
equal("a length read like a method", text.Length(), 4);

// ---- Trimming

text.Value = "  two before, one after ";
equal("TrimLeft", text.TrimLeft(), 2);
equal("after TrimLeft", text.Value, "two before, one after ");
equal("TrimRight", text.TrimRight(), 1);
equal("after TrimRight", text.Value, "two before, one after");
equal("Trim of trimmed text", text.Trim(), 0);
text.Value = "\t both\r\n";
equal("Trim", text.Trim(), 4);
equal("after Trim", text.Value, "both");
text.Value = " \x0b\f ";
text.Trim();
equal("after the statement Trim of blanks", text.Value, "");
equal("length after the statement Trim of blanks", text.Length, 0);

// ---- Parts

text.Value = "abcdef";
equal("Left", text.Left(2), "ab");
equal("Left of nothing", text.Left(0), "");
equal("Left of more than there is", text.Left(7), "abcdef");
equal("Left of a negative length", text.Left(-1), "abcdef");
equal("Right", text.Right(2), "ef");
equal("Right of all", text.Right(6), "abcdef");
equal("Right of more than there is", text.Right(7), "");
equal("Right of a negative length", text.Right(-1), "");
equal("Mid", text.Mid(1, 3), "bcd");
equal("Mid to the end", text.Mid(4, 100), "ef");
equal("Mid of a negative length", text.Mid(2, -1), "cdef");
equal("Mid from the end", text.Mid(6, 1), "");
equal("Mid from beyond the end", text.Mid(7, 1), "");
equal("Mid from a negative position", text.Mid(-1, 1), "");
equal("text as length", text.Left("3"), "abc");
equal("a fraction as length is rounded", text.Left(2.6), "abc");
equal("parts leave the text alone", text.Value, "abcdef");

// ---- Clear

equal("Clear gives nothing", text.Clear(), undefined);
equal("value after Clear", text.Value, "");
equal("length after Clear", text.Length, 0);
equal("Trim after Clear", text.Trim(), 0);
equal("Mid after Clear", text.Mid(0, 1), "");

// ---- Wrong use raises an error and changes nothing

text.Value = "abc";
raises("Left without a length", function () { text.Left(); });
raises("Left with two lengths", function () { text.Left(1, 2); });
raises("Mid without a length", function () { text.Mid(1); });
raises("Trim with an argument", function () { text.Trim(1); });
raises("Left with text that is no number", function () { text.Left("x"); });
raises("Left with null", function () { text.Left(null); });
raises("null written", function () { text.Value = null; });
raises("a written length", function () { text.Length = 5; });
raises("a method that does not exist", function () { text.Reverse(); });
raises("writing a property that does not exist", function () { text.Reverse = "cba"; });
raises("a class that does not exist", function () { new ActiveXObject("Nuvolex.NXNothing"); });
equal("a property that does not exist", typeof text.Reverse, "undefined");
equal("value after all that", text.Value, "abc");

// ---- Many objects

var total = 0;
for (var i = 1; i <= 10000; ++i) {
    var one = new ActiveXObject("Nuvolex.NXString");
    one.Value = " " + i;
    one.TrimLeft();
    total += one.Length + one.Left(1).length;
}
equal("10000 objects", total, 38894 + 10000);

var many = [];
for (i = 0; i < 1000; ++i) {
    many[i] = new ActiveXObject("Nuvolex.NXString");
    many[i].Value = "text " + i;
}
equal("first of 1000 objects at a time", many[0].Value, "text 0");
equal("last of 1000 objects at a time", many[999].Value, "text 999");

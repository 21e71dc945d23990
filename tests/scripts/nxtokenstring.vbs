' NXTokenString in VBScript.
Option Explicit

Dim tokens, token, all
Set tokens = CreateObject("Nuvolex.NXTokenString")
Equal "kind of object", TypeName(tokens), "INXTokenString"
Equal "versioned name", TypeName(CreateObject("Nuvolex.NXTokenString.1")), "INXTokenString"

' ---- A new object is empty

Equal "count of a new object", tokens.Count, 0
Equal "value of a new object", tokens.Value, ""
Equal "separator of a new object", tokens.Separator, ""
Equal "mode of a new object", tokens.MultiCharacter, False

' ---- Splitting and joining

tokens.Value = "a,b,c"
Equal "one token without a separator", tokens.Count, 1
tokens.Separator = ","
Equal "count", tokens.Count, 3
Equal "first token", tokens.Token(0), "a"
Equal "last token, by the default member", tokens(2), "c"
Equal "value", tokens.Value, "a,b,c"
tokens.Value = ",x,,"
Equal "empty tokens count", tokens.Count, 4
Equal "an empty token", tokens(0), ""

' ---- For Each

tokens.Value = "a,b,c"
all = ""
For Each token In tokens
    Equal "type of a token", TypeName(token), "String"
    all = all & token & ";"
Next
Equal "For Each", all, "a;b;c;"

all = ""
For Each token In tokens
    all = all & token & ";"
    If token = "a" Then tokens.Value = "1,2"
Next
Equal "For Each while the value changes", all, "a;2;"

' ---- The whole separator

tokens.Separator = ";,"
tokens.MultiCharacter = True
tokens.Value = "x;,y;z"
Equal "count with a long separator", tokens.Count, 2
Equal "token with a long separator", tokens(1), "y;z"
tokens.Value = "x;,y"
tokens.Separator = ";,"
Equal "a written separator resets the mode", tokens.MultiCharacter, False
Equal "and every character separates", tokens.Count, 3

' ---- Add

tokens.Separator = ","
tokens.Value = "a"
tokens.Add "p,q"
Equal "an added token is one", tokens.Count, 2
Equal "unsplit", tokens(1), "p,q"
Equal "value with it", tokens.Value, "a,p,q"
tokens.MultiCharacter = False
Equal "split by a written mode", tokens.Count, 3

' ---- An invalid index raises an error and changes nothing

On Error Resume Next
token = tokens.Token(3)
Equal "description", Err.Description, "Index out of bounds!"
Equal "source", Err.Source, "Nuvolex.NXTokenString.1"
RaisedSomething "a token past the end"
token = tokens(-1)
RaisedSomething "a negative index"
tokens.Value = Null
Raised "Null written", 13
tokens.Count = 5
RaisedSomething "a written count"
On Error GoTo 0
Equal "value after all that", tokens.Value, "a,p,q"

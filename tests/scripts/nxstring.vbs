' NXString in VBScript.
Option Explicit

' ---- Created by either ProgID

Dim text, versioned, same
Set text = CreateObject("Nuvolex.NXString")
Set versioned = CreateObject("Nuvolex.NXString.1")
Equal "kind of object", TypeName(text), "INXString"
Equal "kind of object by versioned name", TypeName(versioned), "INXString"
Equal "two objects are two", text Is versioned, False

' ---- A new object is empty

Equal "value of a new object", text.Value, ""
Equal "length of a new object", text.Length, 0

' ---- The null string of a new object behaves as an empty string

Equal "type of a null string", TypeName(versioned.Value), "String"
Equal "a null string is not Null", IsNull(versioned.Value), False
Equal "nor Empty", IsEmpty(versioned.Value), False
Equal "it equals an empty string", versioned.Value = "", True
Equal "and an empty string equals it", "" = versioned.Value, True
Equal "it equals another null string", versioned.Value = text.Value, True
Equal "it differs from text", versioned.Value <> "x", True
Equal "it sorts before text", versioned.Value < "x", True
Equal "Len of a null string", Len(versioned.Value), 0
Equal "a null string and text", versioned.Value & "x", "x"
Equal "text and a null string", "x" & versioned.Value, "x"
Equal "a null string plus text", versioned.Value + "x", "x"
Equal "UCase of a null string", UCase(versioned.Value), ""
Equal "Left of a null string", Left(versioned.Value, 1), ""
Equal "InStr in a null string", InStr(versioned.Value, "x"), 0

' Wine's Trim and RegExp crash on a null string and its InStr returns 0; in a variable it is an empty string.
same = versioned.Value
Equal "Trim of a null string from a variable", Trim(same), ""
Equal "InStr of a null string from a variable", InStr("x", same) = 1, True

text.Value = "overwritten"
text.Value = versioned.Value
Equal "a null string written", text.Value, ""
Equal "length after a null string was written", text.Length, 0
Equal "a part of a null string", text.Left(3) & "x", "x"
text.Value = ""
Equal "an empty string written", text.Value & "x", "x"
Equal "it equals a null string", text.Value = versioned.Value, True

' ---- Value and length

text.Value = "Nuvolex"
Equal "value", text.Value, "Nuvolex"
Equal "length", text.Length, 7
Equal "other object's value", versioned.Value, ""
text.Value = text.Value & "!"
Equal "value made from itself", text.Value, "Nuvolex!"
text.Value = "ab" & Chr(0) & "cd"
Equal "value ends at a NUL", text.Value, "ab"
Equal "length ends at a NUL", text.Length, 2

' ---- Other types become text

text.Value = 42
Equal "a number written", text.Value, "42"
text.Value = Empty
Equal "Empty written", text.Value, ""
text.Value = versioned.Length
Equal "another property written", text.Value, "0"

' ---- Trimming as a function returns the count

text.Value = "  two before, one after "
Equal "TrimLeft", text.TrimLeft(), 2
Equal "after TrimLeft", text.Value, "two before, one after "
Equal "TrimRight", text.TrimRight(), 1
Equal "after TrimRight", text.Value, "two before, one after"
Equal "Trim of trimmed text", text.Trim(), 0
text.Value = vbTab & " both" & vbCrLf
Equal "Trim", text.Trim, 4
Equal "after Trim", text.Value, "both"
text.Value = "   "
Equal "Trim of nothing but blanks", text.Trim(), 3
Equal "after Trim of nothing but blanks", text.Value, ""

' ---- Trimming as a statement

text.Value = " a "
text.TrimLeft
Equal "after the statement TrimLeft", text.Value, "a "
text.TrimRight
Equal "after the statement TrimRight", text.Value, "a"
text.Value = " a "
Call text.Trim()
Equal "after Call Trim", text.Value, "a"

' ---- Parts

text.Value = "abcdef"
Equal "Left", text.Left(2), "ab"
Equal "Left of nothing", text.Left(0), ""
Equal "Left of more than there is", text.Left(7), "abcdef"
Equal "Left of a negative length", text.Left(-1), "abcdef"
Equal "Right", text.Right(2), "ef"
Equal "Right of all", text.Right(6), "abcdef"
Equal "Right of more than there is", text.Right(7), ""
Equal "Right of a negative length", text.Right(-1), ""
Equal "Mid", text.Mid(1, 3), "bcd"
Equal "Mid to the end", text.Mid(4, 100), "ef"
Equal "Mid of a negative length", text.Mid(2, -1), "cdef"
Equal "Mid from the end", text.Mid(6, 1), ""
Equal "Mid from beyond the end", text.Mid(7, 1), ""
Equal "Mid from a negative position", text.Mid(-1, 1), ""
Equal "parts leave the text alone", text.Value, "abcdef"

Dim count : count = 3
Equal "a variable as length", text.Left(count), "abc"
Equal "the variable afterwards", count, 3
Equal "text as length", text.Left("3"), "abc"
Equal "a fraction as length is rounded", text.Left(2.6), "abc"
Equal "parts of parts", Len(text.Left(4) & text.Right(2)), 6

' ---- Member names in any case

text.VALUE = "ABC"
Equal "value in lower case", text.value, "ABC"
Equal "LEFT", text.LEFT(1), "A"
Equal "tRIM", text.tRIM(), 0

' ---- Clear

text.Clear
Equal "value after Clear", text.Value, ""
Equal "length after Clear", text.Length, 0
Equal "Trim after Clear", text.Trim(), 0
Equal "Left after Clear", text.Left(3), ""
text.Value = "again"
Equal "value after Clear and a write", text.Value, "again"

' ---- Two variables for one object

Set same = text
same.Value = "through another variable"
Equal "value by the first name", text.Value, "through another variable"
Set same = Nothing
Equal "value after the other name is gone", text.Value, "through another variable"

' ---- Wrong use raises an error and changes nothing

Dim part : part = "untouched"
text.Value = "abc"
On Error Resume Next
part = text.Left()
Raised "Left without a length", 450
part = text.Left(1, 2)
Raised "Left with two lengths", 450
part = text.Mid(1)
Raised "Mid without a length", 450
part = text.Trim(1)
Raised "Trim with an argument", 450
part = text.Left("x")
Raised "Left with text that is no number", 13
part = text.Left(Null)
Raised "Left with Null", 13
part = text.Left(3000000000)
Raised "Left with a number too large", 6
text.Value = Null
Raised "Null written", 13
text.Length = 5
RaisedSomething "a written length"
part = text.Reverse
Raised "a property that does not exist", 438
text.Reverse
Raised "a method that does not exist", 438
text.Reverse = "cba"
Raised "writing a property that does not exist", 438
part = text
RaisedSomething "the value of the object itself"
For Each part In text
    Exit For
Next
RaisedSomething "For Each over a string"
Set same = CreateObject("Nuvolex.NXNothing")
Raised "a class that does not exist", 429
part = text.Left(2)
Raised "Left again", 0
On Error GoTo 0
Equal "a part after all that", part, "ab"
Equal "value after all that", text.Value, "abc"

' ---- Many objects

Dim i, total
total = 0
For i = 1 To 10000
    Set same = CreateObject("Nuvolex.NXString")
    same.Value = " " & i
    same.TrimLeft
    total = total + same.Length + Len(same.Left(1))
Next
Equal "10000 objects", total, 38894 + 10000

Dim many(999)
For i = 0 To 999
    Set many(i) = CreateObject("Nuvolex.NXString")
    many(i).Value = "text " & i
Next
Equal "first of 1000 objects at a time", many(0).Value, "text 0"
Equal "last of 1000 objects at a time", many(999).Value, "text 999"

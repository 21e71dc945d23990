' NXVariantCollection in VBScript.
Option Explicit

Dim values, value, all, i
Set values = CreateObject("Nuvolex.NXVariantCollection")
Equal "kind of object", TypeName(values), "INXVariantCollection"
Equal "versioned name", TypeName(CreateObject("Nuvolex.NXVariantCollection.1")), "INXVariantCollection"

' All elements, as text.
Function Listed()
    Dim element, text : text = ""
    For Each element In values
        text = text & element & ";"
    Next
    Listed = text
End Function

' ---- A new object is empty

Equal "count of a new collection", values.Count, 0
Equal "For Each over nothing", Listed, ""
values.Remove
Equal "count after Remove of nothing", values.Count, 0

' ---- Positions: Add and Remove count from 1 and take 0, or nothing, for the end

values.Add 1
values.Add 2
values.Add 3, 0
Equal "appended", Listed, "1;2;3;"
values.Add 9, 2
Equal "inserted at 2", Listed, "1;9;2;3;"
values.Add 7, 4
Equal "inserted at the count", Listed, "1;9;2;7;3;"
Equal "first", values.Item(1), 1
Equal "last, by the default member", values(values.Count), 3
values.Remove 1
Equal "removed the first", Listed, "9;2;7;3;"
values.Remove
Equal "removed the last", Listed, "9;2;7;"
values.Remove 0
Equal "removed the last by 0", Listed, "9;2;"
values.Remove values.Count
Equal "removed the last by its number", Listed, "9;"

' ---- An invalid position or index raises an error and changes nothing

On Error Resume Next
values.Add 5, 2
Equal "description of Add", Err.Description, "Position invalid!"
Equal "source of Add", Err.Source, "Nuvolex.NXVariantCollection.1"
Raised "Add past the end", &H80004005
values.Add 5, -1
Equal "description of Add at -1", Err.Description, "Position invalid!"
Raised "Add at -1", &H80004005
values.Remove 2
Equal "description of Remove", Err.Description, "Index out of bounds!"
Equal "source of Remove", Err.Source, "Nuvolex.NXVariantCollection.1"
Raised "Remove past the end", &H80004005
values.Remove -1
Raised "Remove of -1", &H80004005
value = values.Item(0)
Equal "description of Item", Err.Description, "Index out of bounds!"
Equal "source of Item", Err.Source, "Nuvolex.NXVariantCollection.1"
Raised "Item 0", &H80004005
value = values(2)
Raised "the default member past the end", &H80004005
value = values.Item()
Raised "Item without a number", 450
values.Add
Raised "Add of nothing", 450
values.Add 1, 0, 0
Raised "Add of too much", 450
values.Add 1, "x"
Raised "Add with text as position", 13
values.Add 1, 3000000000
Raised "Add with too large a position", 6
values.Remove "x"
Raised "Remove with text as index", 13
values.Item(1) = 5
RaisedSomething "a written element"
values.Count = 5
RaisedSomething "a written count"
On Error GoTo 0
Equal "after all that", Listed, "9;"

' ---- Values of every kind, after their variables are cleared

' Adds a value and returns the type of the element.
Function KindOf(added)
    Set values = CreateObject("Nuvolex.NXVariantCollection")
    values.Add added
    KindOf = TypeName(values(1))
End Function

Equal "a number", KindOf(1) & values(1), "Integer1"
Equal "a large number", KindOf(70000) & values(1), "Long70000"
Equal "a real number", KindOf(CDbl(0.5)), "Double"
Equal "its value", values(1), 0.5
Equal "a single", KindOf(CSng(0.5)), "Single"
Equal "a byte", KindOf(CByte(255)) & values(1), "Byte255"
Equal "a currency", KindOf(CCur(12345)) & values(1), "Currency12345"
Equal "a date", KindOf(#1/2/2003#), "Date"
Equal "its value", values(1) = #1/2/2003#, True
Equal "true", KindOf(True), "Boolean"
Equal "its value", values(1), True
Equal "false", KindOf(False), "Boolean"
Equal "its value", values(1), False
Equal "Empty", KindOf(Empty), "Empty"
Equal "Null", KindOf(Null), "Null"
Equal "a text", KindOf("te" & "xt") & values(1), "Stringtext"
Equal "a text of length zero", KindOf("") & values(1), "String"
Equal "a text with a NUL", KindOf("ab" & Chr(0) & "cd"), "String"
Equal "its value", values(1), "ab" & Chr(0) & "cd"
Equal "letters beyond ASCII", KindOf(Chr(228) & Chr(128)), "String"
Equal "their value", values(1), Chr(228) & Chr(128)
Equal "an object", KindOf(CreateObject("Nuvolex.NXString")), "INXString"
Equal "an array", KindOf(Array(1, "two", Array(3))), "Variant()"
value = values(1)
Equal "its bound", UBound(value), 2
Equal "its text", value(1), "two"
Equal "the array in it", TypeName(value(2)), "Variant()"
Equal "an array of nothing", KindOf(Array()), "Variant()"
value = values(1)
Equal "its bound", UBound(value), -1

Set values = CreateObject("Nuvolex.NXVariantCollection")
values.Add Nothing
Equal "Nothing", values(1) Is Nothing, True
values.Add values
Equal "the collection itself", values(2) Is values, True
values.Remove

' ---- Variables, passed by reference: the current value is copied

Dim grid(1, 2)

Sub AddByReference(ByRef variable)
    values.Add variable
End Sub

Set values = CreateObject("Nuvolex.NXVariantCollection")
value = "before"
values.Add value
AddByReference value
value = "after"
Equal "a text", Listed, "before;before;"
value = Array(1, "two")
values.Add value
AddByReference value
value(1) = "changed"
value = values(3)
Equal "an element of an array", value(1), "two"
value = values(4)
Equal "an element of an array by reference", value(1), "two"
grid(1, 2) = "deep"
values.Add grid
AddByReference grid
grid(1, 2) = "changed"
value = values(5)
Equal "an element of two dimensions", value(1, 2), "deep"
value(1, 2) = "changed"
value = values(6)
Equal "an element of two dimensions by reference", value(1, 2), "deep"
value = values(5)
Equal "what Item gives is a copy", value(1, 2), "deep"

' ---- Objects live while they are in the collection

Dim ended

Class Guest
    Private Sub Class_Terminate
        ended = ended + 1
    End Sub
End Class

Set values = CreateObject("Nuvolex.NXVariantCollection")
ended = 0
values.Add New Guest
values.Add New Guest, 1
values.Add Array(New Guest, New Guest)
Equal "all are alive", ended, 0
values.Remove 1
Equal "one is removed", ended, 1
Set value = values(1)
values.Remove 1
Equal "one is removed, but in a variable", ended, 1
Set value = Nothing
Equal "not any more", ended, 2
Set values = Nothing
Equal "the collection is gone", ended, 4

' ---- Objects whose Class_Terminate uses the collection

Class Busy
    Private Sub Class_Terminate
        On Error Resume Next ' the variable is Nothing already, or not yet, when the collection ends
        ended = ended + 1
        values.Add "first", 0
        values.Add "second", 1
        values.Remove
        values.Remove
        values.Remove
    End Sub
End Class

Set values = CreateObject("Nuvolex.NXVariantCollection")
ended = 0
values.Add "a"
values.Add New Busy
values.Add "b"
values.Remove 2
Equal "ended by Remove", ended, 1
Equal "what it left", Listed, "second;"
values.Add New Busy
values.Add New Busy
values.Add "c"
Set values = Nothing
Equal "ended with the collection", ended, 3

' ---- For Each

Set values = CreateObject("Nuvolex.NXVariantCollection")
values.Add 1
values.Add "two"
values.Add #1/2/2003#
values.Add CreateObject("Nuvolex.NXString")
all = ""
For Each value In values
    all = all & TypeName(value) & ";"
Next
Equal "kinds of the elements", all, "Integer;String;Date;INXString;"

Set values = CreateObject("Nuvolex.NXVariantCollection")
values.Add 1
values.Add 2
values.Add 3
all = ""
For Each value In values
    If value = 1 Then values.Remove 1
    If value = 3 Then values.Add 4
    all = all & value & ";"
Next
Equal "For Each while the collection changes", all, "1;3;4;"

all = ""
For Each value In values
    Set values = Nothing
    all = all & value & ";"
Next
Equal "For Each without another reference", all, "2;3;4;"

' ---- Many

Set values = CreateObject("Nuvolex.NXVariantCollection")
For i = 1 To 2500
    values.Add i
    values.Add "text " & i
    values.Add Array(i, "text"), 1
    values.Add CreateObject("Nuvolex.NXString"), 2
Next
Equal "10000 values", values.Count, 10000
Equal "the last", values(10000), "text 2500"
Do While values.Count > 0
    values.Remove values.Count \ 2
Loop
Equal "all removed", values.Count, 0

' A client for tools/soak: uses all classes from VBScript until there is a file "stop" in the current folder. Prints the
' number of rounds from time to time, and at the end "Done: N rounds".
Option Explicit

Dim fso, rounds
Set fso = CreateObject("Scripting.FileSystemObject")

Sub Equal(what, actual, expected)
    If (VarType(actual) = vbString) = (VarType(expected) = vbString) Then
        If actual = expected Then Exit Sub
    End If
    WScript.Echo "FAILED: " & what & ": " & TypeName(actual) & " [" & actual & "] instead of [" & expected & "]"
    WScript.Quit 1
End Sub

Sub UseString(number)
    Dim text : Set text = CreateObject("Nuvolex.NXString")
    text.Value = "  round " & number & "  "
    Equal "Trim", text.Trim, 4
    Equal "Left", text.Left(5), "round"
    Equal "Mid", text.Mid(6, 20), CStr(number)
    text.Clear
    Equal "Length after Clear", text.Length, 0
End Sub

Sub UseStringList(number)
    Dim list, item, i, all
    Set list = CreateObject("Nuvolex.NXStringList")
    For i = 1 To 20
        list.Add number + i
    Next
    list.Item(0) = "first"
    list.Remove 1
    Equal "last string", list(18), CStr(number + 20)
    For Each item In list
        all = all & Left(item, 1)
    Next
    Equal "strings walked", Len(all), 19
    On Error Resume Next
    item = list(19)
    Equal "index error", Err.Description, "Index out of bounds!"
    Err.Clear
End Sub

Sub UseTokenString(number)
    Dim tokens, token, count
    Set tokens = CreateObject("Nuvolex.NXTokenString")
    tokens.Separator = ","
    tokens.Value = "a,b," & number & ",,e"
    Equal "token", tokens.Token(2), CStr(number)
    tokens.Add "f"
    Equal "joined", tokens.Value, "a,b," & number & ",,e,f"
    count = 0
    For Each token In tokens
        count = count + 1
    Next
    Equal "tokens walked", count, tokens.Count
End Sub

Sub UseFiles(number)
    Dim list, stream, entry, line, lines
    Set list = CreateObject("Nuvolex.NXFileStreamList")
    Set stream = list.AddNew
    stream.Open "vbs.txt", False
    stream.Clear
    Equal "Open", stream.Open("vbs.txt", False), True
    stream.WriteLine "# comment"
    stream.WriteLine "line " & number
    stream.Open "vbs.txt", False
    Equal "first line", stream.ReadNextLine, "# comment"
    Equal "UngetLine", stream.UngetLine, True
    For Each entry In list
        Do Until entry.IsEOF
            line = entry.ReadNextLine
            If Not entry.IsCommentLine(line) Then lines = lines & line & ";"
        Loop
    Next
    Equal "lines", lines, "line " & number & ";"
    stream.Close
End Sub

Sub UseTokenStringList(number)
    Dim list, tokens, all
    Set list = CreateObject("Nuvolex.NXTokenStringList")
    list.AddNew.Value = "first"
    list.New.Value = CStr(number)
    list.Add list(0)
    list(2).Value = "shared"
    For Each tokens In list
        all = all & tokens.Value & ";"
    Next
    Equal "token strings", all, "shared;" & number & ";shared;"
    list.Remove 1
    Equal "token strings left", list.Count, 2
End Sub

Sub UseVariantCollection(number)
    Dim values, value, kinds
    Set values = CreateObject("Nuvolex.NXVariantCollection")
    values.Add number
    values.Add "text", 1
    values.Add Array(1, "two", number)
    values.Add CreateObject("Nuvolex.NXString")
    values.Add Now
    For Each value In values
        kinds = kinds & TypeName(value) & ";"
    Next
    Equal "kinds of values", kinds, "String;Long;Variant();INXString;Date;"
    value = values.Item(3)
    Equal "element of an array", value(2), number
    values.Remove 2
    values.Remove
    Equal "values left", values.Count, 3
End Sub

rounds = CLng(0)
On Error Resume Next
Do
    rounds = rounds + 1
    UseString rounds
    UseStringList rounds
    UseTokenString rounds
    UseFiles rounds
    UseTokenStringList rounds
    UseVariantCollection rounds
    If Err.Number <> 0 Then
        WScript.Echo "FAILED: " & Err.Description & " (" & Err.Source & ", " & Err.Number & ")"
        WScript.Quit 1
    End If
    If rounds Mod 50 = 0 Then
        WScript.Echo rounds & " rounds"
        If fso.FileExists("stop") Then Exit Do
    End If
Loop
WScript.Echo "Done: " & rounds & " rounds"

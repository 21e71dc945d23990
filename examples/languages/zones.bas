' Nothing here has run this program yet: it is written from the documentation of VBA.
'
' VBA: the time zones that ten countries or more share. The same program as the others in this folder, late-bound: no
' reference is set, and all objects are declared As Object.
'
' Import it into 64-bit Office, and call it in the Immediate window:
'
'     SharedZones "C:\data\zones.tab", "C:\data\shared.txt"
'
' The first file is read, the second one written.
Option Explicit

Private Const MANY As Long = 10

Public Sub SharedZones(ByVal table As String, ByVal newFile As String)
    Dim stream As Object, rows As Object, row As Object, codes As Object, names As Object, facts As Object
    Dim element As Variant ' For Each takes an Object or a Variant; the elements of a string list are strings
    Dim text As String, written As Long, found As Long

    ' Read: one row a line, split at tabs.
    Set stream = CreateObject("Nuvolex.NXFileStream")
    If Not stream.Open(table, False) Then
        Debug.Print "cannot open " & table
        Exit Sub
    End If
    Set rows = CreateObject("Nuvolex.NXTokenStringList")
    Do Until stream.IsEOF
        text = stream.ReadNextLine
        If Not stream.IsCommentLine(text) Then ' begins with "#", or is empty like the one after the last line end
            Set row = rows.AddNew ' a new token string, which is in the list already
            row.Separator = vbTab
            row.Value = text
        End If
    Loop

    ' Split the first column at commas, and collect the names in the third. row(0) is short for row.Token(0).
    Set codes = CreateObject("Nuvolex.NXTokenString")
    codes.Separator = ","
    Set names = CreateObject("Nuvolex.NXStringList")
    For Each row In rows
        codes.Value = row(0)
        If codes.Count >= MANY Then names.Add row(2)
    Next
    Debug.Print names.Count & " of " & rows.Count & " zones are shared by " & MANY & " countries or more:"
    For Each element In names
        Debug.Print "  " & element
    Next

    ' A variant collection holds values of any type.
    Set facts = CreateObject("Nuvolex.NXVariantCollection")
    facts.Add rows.Count
    facts.Add names(0)
    For Each element In facts
        Debug.Print "fact: " & element
    Next

    ' Indices count from 0, so this one is one too large.
    On Error Resume Next
    text = names(names.Count)
    If Err.Number <> 0 Then Debug.Print "error 0x" & Hex$(Err.Number) & ": " & Err.Description
    On Error GoTo 0

    ' Write: Open opens existing files only, Clear creates one (or empties it).
    If Not stream.Open(newFile, False) Then Debug.Print "a new file"
    stream.Clear
    stream.Open newFile, False
    For Each element In names
        If stream.WriteLine(element) Then written = written + 1
    Next

    ' Read back. The extra empty line after the last line end is not counted.
    stream.Open newFile, False
    Do Until stream.IsEOF
        If stream.ReadNextLine <> "" Then found = found + 1
    Loop
    stream.Close
    Debug.Print written & " lines written, " & found & " read back"
End Sub

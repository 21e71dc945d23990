' NXFileStream in VBScript.
Option Explicit

Dim stream, other, files, line, all, i
Set files = CreateObject("Scripting.FileSystemObject")
Set stream = CreateObject("Nuvolex.NXFileStream")
Equal "kind of object", TypeName(stream), "INXFileStream"
Equal "versioned name", TypeName(CreateObject("Nuvolex.NXFileStream.1")), "INXFileStream"

Function BytesOf(name)
    BytesOf = ""
    If files.GetFile(name).Size > 0 Then
        With files.OpenTextFile(name)
            BytesOf = .ReadAll
            .Close
        End With
    End If
End Function

Sub MakeFile(name, bytes)
    With files.CreateTextFile(name, True)
        .Write bytes
        .Close
    End With
End Sub

' ---- A new stream is closed and has no name

Equal "IsOpen of a new object", stream.IsOpen, False
Equal "IsEOF of a new object", stream.IsEOF, True
Equal "name of a new object", stream.fileName, ""
Equal "line of a new object", stream.ReadNextLine, ""
Equal "Flush when closed", stream.Flush, False
Equal "WriteLine when closed", stream.WriteLine("x"), False
Equal "UngetLine when closed", stream.UngetLine, False
stream.Close
stream.Clear

' ---- A new file: Open fails and keeps the name, Clear creates the file

Equal "Open of a missing file", stream.Open("new.txt", False), False
Equal "it was not created", files.FileExists("new.txt"), False
Equal "its name is kept", stream.fileName, "new.txt"
Equal "still closed", stream.IsOpen, False
stream.Clear
Equal "Clear creates it", BytesOf("new.txt"), ""
Equal "and leaves it closed", stream.IsOpen, False
Equal "Open of the new file", stream.Open("new.txt", False), True
Equal "WriteLine", stream.WriteLine("first"), True
stream.WriteLine ""
stream.WriteLine 42
Equal "Flush", stream.Flush, True
stream.Flush
Equal "size of the file, while it is open", files.GetFile("new.txt").Size, 13
stream.Close
Equal "what was written", BytesOf("new.txt"), "first" & vbCrLf & vbCrLf & "42" & vbCrLf

' ---- Reading

MakeFile "lines.txt", "; comment" & vbCrLf & vbCrLf & "one" & vbCrLf & "two" & vbCrLf
Equal "Open", stream.Open("lines.txt", False), True
Equal "IsOpen", stream.IsOpen, True
Equal "IsEOF at the beginning", stream.IsEOF, False
all = ""
Do Until stream.IsEOF
    line = stream.ReadNextLine
    Equal "type of a line", TypeName(line), "String"
    If Not stream.IsCommentLine(line) Then all = all & line & ";"
Loop
Equal "lines that are no comments", all, "one;two;"
Equal "the last line again", stream.ReadNextLine, ""
Equal "UngetLine after the empty line at the end", stream.UngetLine, False

stream.Open "lines.txt", True
Equal "a line in binary mode", stream.ReadNextLine, "; comment" & vbCr
stream.Open "lines.txt", 5
Equal "any number but 0 is binary", stream.ReadNextLine, "; comment" & vbCr
stream.Open "lines.txt", 0
Equal "0 is text", stream.ReadNextLine, "; comment"
stream.Close
Equal "the line read last stays after Close", stream.ReadNextLine, "; comment"
Equal "IsEOF after Close", stream.IsEOF, True
Equal "name after Close", stream.FileName, "lines.txt"

' ---- Stepping back

stream.Open "lines.txt", False
stream.ReadNextLine
stream.ReadNextLine
Equal "a line", stream.ReadNextLine, "one"
Equal "UngetLine", stream.UngetLine, True
Equal "the line again", stream.ReadNextLine, "one"
stream.UngetLine
stream.WriteLine "ONE"
Equal "written over it, reading goes on", stream.ReadNextLine, "two"
stream.Close
Equal "what was written over it", BytesOf("lines.txt"), "; comment" & vbCrLf & vbCrLf & "ONE" & vbCrLf & "two" & vbCrLf

' ---- Comment lines

Equal "blank", stream.IsCommentLine("  " & vbTab), True
Equal "no text at all", stream.IsCommentLine(""), True
Equal "semicolon", stream.IsCommentLine(";x"), True
Equal "number sign", stream.IsCommentLine("# x"), True
Equal "blank before a semicolon", stream.IsCommentLine(" ;"), False
Equal "text", stream.IsCommentLine("x ; y"), False

' ---- The script owns its lines, any number of them

stream.Open "lines.txt", False
line = stream.ReadNextLine
stream.ReadNextLine
stream.Clear
Equal "a line outlives the next one and Clear", line, "; comment"
Equal "Clear empties the file", BytesOf("lines.txt"), ""
Equal "and forgets the line", stream.ReadNextLine, ""

stream.Open "lines.txt", False
For i = 1 To 5000
    stream.WriteLine "line " & i
Next
stream.Open "lines.txt", False
For i = 1 To 5000
    line = stream.ReadNextLine
    If line <> "line " & i Then Exit For
    If i Mod 2 = 0 Then
        stream.UngetLine
        stream.ReadNextLine
    End If
Next
Equal "5000 lines written and read", i, 5001
stream.Close
For i = 1 To 10000
    stream.ReadNextLine
Next
Equal "the line read last after 10000 statements", stream.ReadNextLine, "line 5000"

' ---- Files that cannot be opened

For Each line In Array("", ".", "no such folder\x", "*.txt", "a?b", "a|b", "<>")
    Equal "Open of [" & line & "]", stream.Open(line, False), False
    Equal "its name", stream.fileName, line
    stream.Clear
Next
Equal "no other file is touched", Right(BytesOf("lines.txt"), 11), "line 5000" & vbCrLf

' ---- A file is open as long as its stream

On Error Resume Next
stream.Open "lines.txt", False
files.DeleteFile "lines.txt"
RaisedSomething "DeleteFile of an open file"
Equal "it stays", files.FileExists("lines.txt"), True
Set stream = Nothing
files.DeleteFile "lines.txt"
Raised "DeleteFile when the stream is gone", 0
Equal "it is deleted", files.FileExists("lines.txt"), False
On Error GoTo 0

' ---- An error between Open and Close keeps the data, and releasing the stream closes the file

Sub FailsInTheMiddle
    Dim stream
    Set stream = CreateObject("Nuvolex.NXFileStream")
    stream.Open "new.txt", False
    Do Until stream.IsEOF
        stream.ReadNextLine
    Loop
    stream.WriteLine "last words"
    Err.Raise 1001, "script", "in the middle"
    stream.WriteLine "never written"
End Sub

On Error Resume Next
FailsInTheMiddle
Raised "the error in the middle", 1001
Equal "the file is whole", BytesOf("new.txt"), "first" & vbCrLf & vbCrLf & "42" & vbCrLf & "last words" & vbCrLf
files.MoveFile "new.txt", "moved.txt"
Raised "MoveFile of the closed file", 0
Equal "it is moved", files.FileExists("moved.txt"), True
On Error GoTo 0

' The same in a script that ends with the error.
MakeFile "failing.vbs", _
    "Set stream = CreateObject(""Nuvolex.NXFileStream"")" & vbCrLf & _
    "stream.Open ""moved.txt"", False" & vbCrLf & _
    "stream.WriteLine ""1234567""" & vbCrLf & _
    "Err.Raise 1001" & vbCrLf & _
    "stream.WriteLine ""never written""" & vbCrLf
CreateObject("WScript.Shell").Run "cscript //nologo failing.vbs", 0, True
Equal "what the program left", BytesOf("moved.txt"), "1234567" & vbCrLf & "42" & vbCrLf & "last words" & vbCrLf

' ---- Wrong use raises an error and changes nothing

Set stream = CreateObject("Nuvolex.NXFileStream")
stream.Open "moved.txt", False
On Error Resume Next
stream.Open "x"
RaisedSomething "Open without a mode"
stream.Open Null, False
Raised "Open of Null", 13
stream.WriteLine Null
Raised "Null written", 13
stream.WriteLine
RaisedSomething "WriteLine without a line"
stream.fileName = "x"
RaisedSomething "a written name"
On Error GoTo 0
Equal "name after all that", stream.fileName, "moved.txt"
Equal "line after all that", stream.ReadNextLine, "1234567"

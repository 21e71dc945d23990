' Writes a file of 2,000 lines and reads it back.
Option Explicit

Const NAME = "build\bench_lines_ours.txt"

Dim file, length, start, round, i
Set file = CreateObject("Nuvolex.NXFileStream")
start = Timer
For round = 1 To CLng(WScript.Arguments(0))
    length = 0
    file.Open NAME, False ' keeps the name, so that Clear can create the file
    file.Clear
    file.Open NAME, False
    For i = 1 To 2000
        file.WriteLine "line number " & (10000 + i)
    Next
    file.Close

    file.Open NAME, False
    Do Until file.IsEOF
        length = length + Len(file.ReadNextLine)
    Loop
    file.Close
Next
WScript.Echo "Time: " & CLng((Timer - start) * 1000)
CreateObject("Scripting.FileSystemObject").DeleteFile NAME
WScript.Echo "Done: " & length

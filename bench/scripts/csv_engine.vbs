' Reads a table, writes a report of three of its columns, and adds up one: ROUNDS TABLE REPORT
Option Explicit

Const FOR_READING = 1

Dim table, report, fields, total, start, round, fso
Set fso = CreateObject("Scripting.FileSystemObject")
start = Timer
For round = 1 To CLng(WScript.Arguments(0))
    total = 0
    Set table = fso.OpenTextFile(WScript.Arguments(1), FOR_READING)
    Set report = fso.CreateTextFile(WScript.Arguments(2), True)
    Do Until table.AtEndOfStream
        fields = Split(table.ReadLine, ",")
        report.WriteLine fields(2) & ": " & fields(1) & ", " & fields(4)
        total = total + CLng(fields(4))
    Loop
    table.Close
    report.Close
Next
WScript.Echo "Time: " & CLng((Timer - start) * 1000)
WScript.Echo "Done: " & total

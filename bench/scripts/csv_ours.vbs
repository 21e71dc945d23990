' Reads a table, writes a report of three of its columns, and adds up one: ROUNDS TABLE REPORT
Option Explicit

Dim table, report, fields, total, start, round
Set table = CreateObject("Nuvolex.NXFileStream")
Set report = CreateObject("Nuvolex.NXFileStream")
Set fields = CreateObject("Nuvolex.NXTokenString")
fields.Separator = ","
start = Timer
For round = 1 To CLng(WScript.Arguments(0))
    total = 0
    table.Open WScript.Arguments(1), False
    report.Open WScript.Arguments(2), False ' keeps the name, so that Clear can empty the file
    report.Clear
    report.Open WScript.Arguments(2), False
    Do Until table.IsEOF
        fields.Value = table.ReadNextLine
        report.WriteLine fields.Token(2) & ": " & fields.Token(1) & ", " & fields.Token(4)
        total = total + CLng(fields.Token(4))
    Loop
    table.Close
    report.Close
Next
WScript.Echo "Time: " & CLng((Timer - start) * 1000)
WScript.Echo "Done: " & total

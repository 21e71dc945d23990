' Splits 32,768 fields and adds up their lengths.
Option Explicit

Dim text, tokens, token, length, i
text = "0123456789"
For i = 1 To 15
    text = text & "," & text
Next

Set tokens = CreateObject("Nuvolex.NXTokenString")
tokens.Separator = ","
tokens.Value = text
For Each token In tokens
    length = length + Len(token)
Next
WScript.Echo "Done: " & length

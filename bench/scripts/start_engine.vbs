' The minimal script with a dictionary.
Option Explicit

Dim dictionary
Set dictionary = CreateObject("Scripting.Dictionary")
WScript.Echo "Done: " & dictionary.Count

@echo off
rem Runs all tests, or the named ones, and writes a log (see README.txt): run-tests [NAME...]
rem Exit code 0: nothing failed. 1: a test failed. 2: the tests could not be run.
"%~dp0bin\testrunner.exe" "%~dp0." %*

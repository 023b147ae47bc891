#!/bin/sh
# Stands for the program "白露表格" of the sample catalogue.
echo "白露表格 4.0.3"

#!/bin/sh
# Stands for the program "赤芍报表" of the sample catalogue.
echo "赤芍报表 2.2.0"

#!/bin/sh
# Stands for the program "云杉绘图" of the sample catalogue.
echo "云杉绘图 5.1.0"

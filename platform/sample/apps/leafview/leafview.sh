#!/bin/sh
# Stands for the program "一叶看图" of the sample catalogue.
echo "一叶看图 3.3.0"

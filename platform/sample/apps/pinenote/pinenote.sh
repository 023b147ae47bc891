#!/bin/sh
# Stands for the program "松间笔记" of the sample catalogue.
echo "松间笔记 1.0.9"

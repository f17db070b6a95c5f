* a comment
NAME
 LL x3
ENDATA

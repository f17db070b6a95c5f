name
objsense max
rows
 n f
 l c $ a row
 e e
columns

 x f 1 c 1 e 1D0
 y c 2 $ no more
bounds
 li b x 2
 ui b x 3
 fx b y -0
qmatrix
 x y 1
 y x 1
qsection f
 x x 3
ranges
 r e -4
rhs
 RHS e 10
endata

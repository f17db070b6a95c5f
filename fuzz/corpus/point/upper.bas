NAME          b
 XU a&b c2
 XL x2_ c2_
 UL x3
ENDATA

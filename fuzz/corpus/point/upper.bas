NAME          b
 XU a&b row
 XL x2 c2
 UL x3
ENDATA

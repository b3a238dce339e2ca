# /CALC: prints the value of an expression, or Error.

$ /CALC:1+2
> 3.000000
$ /calc:-2^2/8
> 0.500000
$ /CALC:1/0
> Error
$ /CALC:
> Error
$ /CALC:\{1*80}
> Error

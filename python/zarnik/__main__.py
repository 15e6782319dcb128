import sys

from zarnik._command import main

if __name__ == "__main__":
    sys.exit(main())

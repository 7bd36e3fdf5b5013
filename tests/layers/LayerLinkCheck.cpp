// Linked with one library whole: the program links only when everything that library uses is
// defined by the libraries it declares.
int main() {
  return 0;
}
